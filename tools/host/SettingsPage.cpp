#include "host/SettingsPage.h"

#include "exchange/SecurityHelper.h"
#include "host/SystemQueries.h"
#include "text/SettingsNames.h"

#include <algorithm>
#include <utility>

namespace tovix {
namespace {

/// A system has a handful of processes that play sound; the bound is for a wrong count.
constexpr std::uint32_t mostSignals = 64;

/// For `condition` to become true; false when it has not within `longestWaitMs`.
template <class Condition> bool await(DWORD longestWaitMs, Condition condition) {
    constexpr DWORD pauseMs = 5; // short beside what a user notices, long beside what a look costs
    const ULONGLONG startMs = ::GetTickCount64();
    while (!condition()) {
        if (::GetTickCount64() - startMs >= longestWaitMs) {
            return false;
        }
        ::Sleep(pauseMs);
    }
    return true;
}

KernelHandle createEvent(const wchar_t* name, SECURITY_ATTRIBUTES* sa) {
    KernelHandle event(::CreateEventW(sa, FALSE, FALSE, name));
    if (!event) {
        const DWORD error = ::GetLastError();
        throw SettingsPageUnavailable("has no usable event to announce a change with", error);
    }
    return event;
}

} // namespace

SettingsPageUnavailable::SettingsPageUnavailable(const std::string& what, DWORD error)
    : Refusal("The settings page " + what + ": " + describeSystemError(error) + "."), m_error(error) {}

std::optional<SettingsPage> SettingsPage::open() {
    SettingsPage page;
    if (page.m_mapping.Open() == IPCS_OK) {
        return page;
    }
    const DWORD error = ::GetLastError();
    if (error == ERROR_FILE_NOT_FOUND) {
        return std::nullopt;
    }
    throw SettingsPageUnavailable("cannot be opened", error);
}

SettingsPage SettingsPage::openOrCreate() {
    static_cast<void>(EnableCreateGlobalPrivilege(::GetCurrentProcess()));
    const GlobalObjectSecurity security;
    auto page = open();
    if (page) {
        page->m_hUpdateEvent = createEvent(CONFIG_DATA_UPDATE_EVENT, security.attributes());
        return std::move(*page);
    }
    SettingsPage created;
    created.m_hUpdateEvent = createEvent(CONFIG_DATA_UPDATE_EVENT, security.attributes());
    created.create(security.attributes());
    return created;
}

bool SettingsPage::hasListeners() noexcept {
    const KernelHandle event(::OpenEventW(SYNCHRONIZE, FALSE, CONFIG_DATA_UPDATE_EVENT));
    return event != nullptr || ::GetLastError() != ERROR_FILE_NOT_FOUND;
}

void SettingsPage::create(SECURITY_ATTRIBUTES* sa) {
    // Before the page, so that an effect that comes to wait in between finds the event and its signal.
    m_hCreateEvent = createEvent(CONFIG_DATA_CREATE_EVENT, sa);
    const auto result = m_mapping.Create(sa);
    const DWORD error = ::GetLastError();
    if (result != IPCS_OK) {
        throw SettingsPageUnavailable(error == ERROR_ACCESS_DENIED
                                          ? "is not there, and creating it takes an administrator or an effect that "
                                            "runs already (play something)"
                                          : "is not there and cannot be created",
                                      error);
    }
    // Whoever was faster in between has put a text there, and releases the waiters.
    if (error != ERROR_ALREADY_EXISTS) {
        releaseWaiters();
    }
}

void SettingsPage::releaseWaiters() {
    // All waiters of a process come with one signal; each closes its handle, a moment later than the one that writes.
    // Closing takes far less; one that has not closed by then waits for a signal of its own.
    constexpr DWORD longestClosingMs = 100;
    const auto someStillWait = [this] { return !await(longestClosingMs, [this] { return !someWait(false); }); };
    std::string effectsText;
    bool waiting = someWait(true);
    for (std::uint32_t sent = 0; waiting && sent < mostSignals; ++sent) {
        // The next effect's text is the same as the last one's. The end of the line tells them apart, and an effect
        // that reads it has the same settings.
        write(effectsText.empty() ? "" : effectsText + '\n');
        ::SetEvent(m_hCreateEvent.get());
        if (!awaitEffectsText()) {
            ::ResetEvent(m_hCreateEvent.get());
            break;
        }
        effectsText = text();
        waiting = someStillWait();
    }
    if (!effectsText.empty()) {
        write(effectsText);
    }
}

bool SettingsPage::someWait(bool unknown) const noexcept {
    const auto others = otherHandles(m_hCreateEvent.get(), 1);
    return others ? *others > 0 : unknown;
}

bool SettingsPage::awaitEffectsText() const {
    constexpr DWORD longestWaitMs = 1000; // an effect needs milliseconds, on a busy machine some hundred
    // The last thing that an effect writes.
    const auto hasCome = [this] { return text().ends_with(std::string(settings::enableOldApo.narrow()) + ":"); };
    const auto nobodyIsLeft = [this] { return !someWait(true) && isSignalled(m_hCreateEvent.get()).value_or(false); };
    await(longestWaitMs, [&] { return hasCome() || nobodyIsLeft(); });
    return hasCome();
}

std::string SettingsPage::text() const {
    PageBytes bytes;
    m_mapping.copyTo(bytes);
    return {bytes.begin(), std::find(bytes.begin(), bytes.end(), '\0')};
}

void SettingsPage::write(std::string_view text) {
    PageBytes bytes{};
    std::copy_n(text.begin(), std::min(text.size(), bytes.size() - 1), bytes.begin());
    m_mapping.writeText(bytes);
}

void SettingsPage::announce() {
    // One that is busy takes its signal later; what stands in the page by then is this text or a newer one.
    constexpr DWORD longestWaitMs = 250; // for all signals: a command must seem to end at once
    const ULONGLONG startMs = ::GetTickCount64();
    for (std::uint32_t sent = 0;; ++sent) {
        const auto others = std::min(otherHandles(m_hUpdateEvent.get(), 1).value_or(1), mostSignals);
        if (sent >= std::max(others, 1U)) {
            return;
        }
        ::SetEvent(m_hUpdateEvent.get());
        if (others > 0) {
            const auto waitedMs = static_cast<DWORD>(::GetTickCount64() - startMs);
            await(longestWaitMs - std::min(waitedMs, longestWaitMs), [this] { return signalTaken(); });
        }
    }
}

void SettingsPage::withdrawSignal() noexcept {
    ::ResetEvent(m_hUpdateEvent.get());
}

bool SettingsPage::signalTaken() const noexcept {
    return !isSignalled(m_hUpdateEvent.get()).value_or(false);
}

std::optional<std::uint32_t> SettingsPage::holders() const noexcept {
    const KernelHandle mapping(::OpenFileMappingW(FILE_MAP_READ, FALSE, CONFIG_DATA_STRUCT));
    // One handle is this function's, one the object's.
    return mapping ? otherHandles(mapping.get(), 2) : std::nullopt;
}

} // namespace tovix
