#include "HostSettings.h"

#include "ExitStatus.h"
#include "helpers/SecurityHelper.h"

#include <algorithm>

namespace tovix::render {
namespace {

struct EventBasicInformation {
    int type;
    LONG signalled;
};

using QueryEvent = LONG NTAPI(HANDLE hEvent, int informationClass, void* pInformation, ULONG size, ULONG* pReturned);

[[noreturn]] void refuse(const char* what) {
    throw RenderError(ExitStatus::failure, std::string("the settings block cannot be ") + what + ".");
}

} // namespace

HostSettings::HostSettings(std::string_view text) {
    static_cast<void>(EnableCreateGlobalPrivilege(::GetCurrentProcess()));
    const GlobalObjectSecurity security;
    if (m_mapping.Open() != IPCS_OK && m_mapping.Create(security.attributes()) != IPCS_OK) {
        refuse("opened or created");
    }
    m_hUpdateEvent.reset(::CreateEventW(security.attributes(), FALSE, FALSE, CONFIG_DATA_UPDATE_EVENT));
    if (!m_hUpdateEvent) {
        refuse("announced");
    }
    write(text);
    // A signal of an earlier user would make the effect build its first chain twice.
    ::ResetEvent(m_hUpdateEvent.get());
}

void HostSettings::announce(std::string_view text) {
    write(text);
    ::SetEvent(m_hUpdateEvent.get());
}

void HostSettings::write(std::string_view text) {
    ConfigText block{};
    std::copy_n(text.begin(), std::min(text.size(), block.size() - 1), block.begin());
    m_mapping.writeText(block);
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
