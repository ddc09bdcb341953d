#include "exchange/SecurityHelper.h"

#include <sddl.h>

namespace tovix {
namespace {

constexpr const wchar_t* globalObjectSddl =
    L"D:(A;OICI;GA;;;AU)(A;OICI;GA;;;BA)(A;OICI;GA;;;WD)(A;OICI;GA;;;SY)S:(ML;;NWNR;;;LW)";

LocalMemory<void> descriptorFromText(const wchar_t* sddl) noexcept {
    PSECURITY_DESCRIPTOR pDescriptor = nullptr;
    if (::ConvertStringSecurityDescriptorToSecurityDescriptorW(sddl, SDDL_REVISION_1, &pDescriptor, nullptr) ==
        FALSE) {
        return nullptr;
    }
    return LocalMemory<void>(pDescriptor);
}

} // namespace

GlobalObjectSecurity::GlobalObjectSecurity() noexcept : m_pDescriptor(descriptorFromText(globalObjectSddl)) {
    if (!m_pDescriptor) {
        return;
    }
    m_pAttributes.reset(static_cast<SECURITY_ATTRIBUTES*>(::LocalAlloc(LPTR, sizeof(SECURITY_ATTRIBUTES))));
    if (!m_pAttributes) {
        m_pDescriptor.reset();
        return;
    }
    m_pAttributes->nLength = sizeof(SECURITY_ATTRIBUTES);
    m_pAttributes->lpSecurityDescriptor = m_pDescriptor.get();
    m_pAttributes->bInheritHandle = FALSE;
}

bool EnableCreateGlobalPrivilege(HANDLE hProcess) noexcept {
    HANDLE hToken = nullptr;
    if (::OpenProcessToken(hProcess, TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &hToken) == FALSE) {
        return false;
    }
    const KernelHandle token(hToken);
    TOKEN_PRIVILEGES wanted{};
    wanted.PrivilegeCount = 1;
    wanted.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
    if (::LookupPrivilegeValueW(nullptr, L"SeCreateGlobalPrivilege", &wanted.Privileges[0].Luid) == FALSE ||
        ::AdjustTokenPrivileges(hToken, FALSE, &wanted, 0, nullptr, nullptr) == FALSE) {
        return false;
    }
    // The adjustment succeeds although the account does not hold the privilege.
    return ::GetLastError() != ERROR_NOT_ALL_ASSIGNED;
}

} // namespace tovix
