#include "host/HostSettings.h"

#include "exchange/SecurityHelper.h"
#include "host/ControllersTurn.h"
#include "host/OtherHandles.h"
#include "host/SystemError.h"
#include "render/ExitStatus.h"

#include <algorithm>

namespace tovix::render {
namespace {

struct EventBasicInformation {
    int type;
    LONG signalled;
};

using QueryEvent = LONG NTAPI(HANDLE hEvent, int informationClass, void* pInformation, ULONG size, ULONG* pReturned);

[[noreturn]] void refuse(const char* what, DWORD error) {
    const char* const remedy =
        error == ERROR_ACCESS_DENIED
            ? "; it takes an administrator, or an effect that runs already; --core does without."
            : "; --core does without.";
    throw RenderError(ExitStatus::failure, std::string("the settings block cannot be ") + what + ": " +
                                               control::describeSystemError(error) + remedy);
}

KernelHandle claimHostMutex(SECURITY_ATTRIBUTES* sa) {
    KernelHandle mutex(::CreateMutexW(sa, FALSE, L"Global\\TovixRenderHost"));
    const DWORD error = ::GetLastError();
    if (error == ERROR_ALREADY_EXISTS || error == ERROR_ACCESS_DENIED) {
        throw RenderError(ExitStatus::failure, "another render is running, and the effect has one set of settings.");
    }
    if (!mutex) {
        refuse("claimed", error);
    }
    return mutex;
}

} // namespace

HostSettings::HostSettings(std::string_view text, bool announces) {
    static_cast<void>(EnableCreateGlobalPrivilege(::GetCurrentProcess()));
    const GlobalObjectSecurity security;
    m_hHostMutex = claimHostMutex(security.attributes());
    m_hUpdateEvent.reset(::CreateEventW(security.attributes(), FALSE, FALSE, CONFIG_DATA_UPDATE_EVENT));
    const DWORD error = ::GetLastError();
    if (!m_hUpdateEvent) {
        refuse("announced", error);
    }
    if (announces && error == ERROR_ALREADY_EXISTS) {
        throw RenderError(
            ExitStatus::failure,
            "another program has the effect's settings open, and an effect outside of this render could "
            "take the change of --at; --core does without them.");
    }
    const control::ControllersTurn turn;
    openBlock(security.attributes());
    write(text);
    // A signal of an earlier user would make the effect build its first chain twice.
    ::ResetEvent(m_hUpdateEvent.get());
}

HostSettings::~HostSettings() {
    const control::ControllersTurn turn;
    // Text and signal of somebody else's change stand.
    if (m_textBefore && text() == m_ownText) {
        write(*m_textBefore);
        signalAllOthers();
    }
}

void HostSettings::openBlock(SECURITY_ATTRIBUTES* sa) {
    if (m_mapping.Open() == IPCS_OK) {
        m_textBefore = text();
        return;
    }
    const auto result = m_mapping.Create(sa);
    const DWORD error = ::GetLastError();
    if (result != IPCS_OK) {
        refuse("opened or created", error);
    }
}

void HostSettings::announce(std::string_view text) {
    write(text);
    ::SetEvent(m_hUpdateEvent.get());
}

void HostSettings::write(std::string_view text) {
    ConfigText block{};
    std::copy_n(text.begin(), std::min(text.size(), block.size() - 1), block.begin());
    m_mapping.writeText(block);
    m_ownText = text;
}

/// One signal for each handle, as a signal wakes one waiter.
void HostSettings::signalAllOthers() noexcept {
    constexpr std::uint32_t largestSignalCount = 64;
    const auto others = control::otherHandles(m_hUpdateEvent.get(), 1).value_or(1);
    for (std::uint32_t i = 0; i < std::clamp<std::uint32_t>(others, 1, largestSignalCount); ++i) {
        ::SetEvent(m_hUpdateEvent.get());
    }
}

bool HostSettings::announcementTaken() const noexcept {
    // Waiting would take the signal away from the effect.
    auto* const query = moduleExport<QueryEvent>(::GetModuleHandleW(L"ntdll.dll"), "NtQueryEvent");
    EventBasicInformation information{};
    return query == nullptr || query(m_hUpdateEvent.get(), 0, &information, sizeof information, nullptr) < 0 ||
           information.signalled == 0;
}

std::string HostSettings::text() const {
    ConfigText block;
    m_mapping.copyTo(block);
    const auto end = std::find(block.begin(), block.end(), '\0');
    return {block.begin(), end};
}

} // namespace tovix::render
