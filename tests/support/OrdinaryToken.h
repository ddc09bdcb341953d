#pragma once

#include "system/WinHandles.h"

namespace tovix::test {

/// What this process may do, but for the privileges of an administrator that changes of the machine take.
inline KernelHandle ordinaryToken() {
    HANDLE hOwn = nullptr;
    HANDLE hToken = nullptr;
    ::OpenProcessToken(::GetCurrentProcess(), TOKEN_DUPLICATE | TOKEN_QUERY, &hOwn);
    const KernelHandle own(hOwn);
    ::DuplicateTokenEx(hOwn, TOKEN_ALL_ACCESS, nullptr, SecurityImpersonation, TokenPrimary, &hToken);
    for (const wchar_t* const name : {SE_BACKUP_NAME, SE_RESTORE_NAME}) {
        TOKEN_PRIVILEGES privileges{.PrivilegeCount = 1, .Privileges = {{{}, SE_PRIVILEGE_REMOVED}}};
        ::LookupPrivilegeValueW(nullptr, name, &privileges.Privileges[0].Luid);
        ::AdjustTokenPrivileges(hToken, FALSE, &privileges, 0, nullptr, nullptr);
    }
    return KernelHandle(hToken);
}

} // namespace tovix::test
