#include "host/SettingsBlock.h"

#include "exchange/SecurityHelper.h"
#include "host/OtherHandles.h"
#include "host/SystemError.h"
#include "settings/Refusal.h"

#include <algorithm>
#include <utility>

namespace tovix::control {
namespace {

/// More effects than this in one system are not counted on; it bounds what a wrong count could do.
constexpr std::uint32_t largestSignalCount = 64;

[[noreturn]] void refuse(const std::string& what, DWORD error) {
    throw Refusal("The settings block " + what + ": " + describeSystemError(error) + ".", ExitStatus::noBlock);
}

KernelHandle createEvent(const wchar_t* name, SECURITY_ATTRIBUTES* sa) {
    KernelHandle event(::CreateEventW(sa, FALSE, FALSE, name));
    if (!event) {
        const DWORD error = ::GetLastError();
        refuse("has no usable event to announce a change with", error);
    }
    return event;
}

std::string settingsTextOf(const std::string& bytes) {
    return bytes.substr(0, bytes.find('\0'));
}

} // namespace

std::optional<SettingsBlock> SettingsBlock::open() {
    SettingsBlock block;
    if (block.m_mapping.Open() == IPCS_OK) {
        return block;
    }
    const DWORD error = ::GetLastError();
    if (error == ERROR_FILE_NOT_FOUND) {
        return std::nullopt;
    }
    refuse("cannot be opened", error);
}

SettingsBlock SettingsBlock::openOrCreate() {
    static_cast<void>(EnableCreateGlobalPrivilege(::GetCurrentProcess()));
    const GlobalObjectSecurity security;
    if (auto block = open()) {
        block->m_hUpdateEvent = createEvent(CONFIG_DATA_UPDATE_EVENT, security.attributes());
        return std::move(*block);
    }
    SettingsBlock block;
    block.m_hUpdateEvent = createEvent(CONFIG_DATA_UPDATE_EVENT, security.attributes());
    block.create(security.attributes());
    return block;
}

void SettingsBlock::create(SECURITY_ATTRIBUTES* sa) {
    // Before the block, so that an effect that comes to wait in between finds the event and its signal.
    m_hCreateEvent = createEvent(CONFIG_DATA_CREATE_EVENT, sa);
    const auto result = m_mapping.Create(sa);
    const DWORD error = ::GetLastError();
    if (result != IPCS_OK) {
        if (error == ERROR_ACCESS_DENIED) {
            refuse("is not there, and creating it takes an administrator or an effect that runs already (play "
                   "something)",
                   error);
        }
        refuse("is not there and cannot be created", error);
    }
    // Whoever was faster in between has put a text there, and releases the waiters.
    if (error != ERROR_ALREADY_EXISTS) {
        releaseWaiters();
    }
}

void SettingsBlock::releaseWaiters() {
    const auto waiters = std::min(otherHandles(m_hCreateEvent.get(), 1).value_or(1), largestSignalCount);
    std::string effectsText;
    for (std::uint32_t i = 0; i < waiters; ++i) {
        // Emptied, so that the next effect's text can be told from the last one's, which is the same.
        copyIn("");
        ::SetEvent(m_hCreateEvent.get());
        if (!awaitEffectsText()) {
            ::ResetEvent(m_hCreateEvent.get());
            break;
        }
        effectsText = settingsTextOf(bytes());
    }
    copyIn(effectsText);
}

bool SettingsBlock::awaitEffectsText() const {
    constexpr DWORD pauseMs = 5;
    constexpr DWORD longestWaitMs = 1000;
    for (DWORD waitedMs = 0; waitedMs < longestWaitMs; waitedMs += pauseMs) {
        // The last thing that an effect writes.
        if (settingsTextOf(bytes()).ends_with("EnableOldApo:")) {
            return true;
        }
        ::Sleep(pauseMs);
    }
    return false;
}

std::string SettingsBlock::bytes() const {
    ConfigText text;
    m_mapping.copyTo(text);
    return {text.begin(), text.end()};
}

void SettingsBlock::write(std::string_view text) {
    copyIn(text);
    const auto others = otherHandles(m_hUpdateEvent.get(), 1).value_or(1);
    for (std::uint32_t i = 0; i < std::clamp<std::uint32_t>(others, 1, largestSignalCount); ++i) {
        ::SetEvent(m_hUpdateEvent.get());
    }
}

std::optional<std::uint32_t> SettingsBlock::holders() const noexcept {
    const KernelHandle mapping(::OpenFileMappingW(FILE_MAP_READ, FALSE, CONFIG_DATA_STRUCT));
    return mapping ? otherHandles(mapping.get(), 2) : std::nullopt;
}

void SettingsBlock::copyIn(std::string_view text) {
    ConfigText block{};
    std::copy_n(text.begin(), std::min(text.size(), block.size() - 1), block.begin());
    m_mapping.writeText(block);
}

} // namespace tovix::control
