#include "install/BackupPrivileges.h"

#include "install/InstallRefusal.h"

namespace tovix::install {

BackupPrivileges::BackupPrivileges() {
    HANDLE hToken = nullptr;
    PrivilegePair wanted{.count = 2,
                         .backup = {.Luid = {}, .Attributes = SE_PRIVILEGE_ENABLED},
                         .restore = {.Luid = {}, .Attributes = SE_PRIVILEGE_ENABLED}};
    DWORD sizeBytes = 0;
    bool on = ::OpenProcessToken(::GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &hToken) != FALSE;
    m_token.reset(on ? hToken : nullptr);
    on = on && ::LookupPrivilegeValueW(nullptr, SE_BACKUP_NAME, &wanted.backup.Luid) != FALSE &&
         ::LookupPrivilegeValueW(nullptr, SE_RESTORE_NAME, &wanted.restore.Luid) != FALSE &&
         ::AdjustTokenPrivileges(hToken, FALSE, reinterpret_cast<TOKEN_PRIVILEGES*>(&wanted), sizeof m_before,
                                 reinterpret_cast<TOKEN_PRIVILEGES*>(&m_before), &sizeBytes) != FALSE &&
         ::GetLastError() == ERROR_SUCCESS; // else one of them is not this process's to switch on
    if (!on) {
        throw InstallRefusal(Obstacle::notElevated,
                             "This takes an administrator: run it in a command prompt that was started as one.");
    }
}

BackupPrivileges::~BackupPrivileges() {
    ::AdjustTokenPrivileges(m_token.get(), FALSE, reinterpret_cast<TOKEN_PRIVILEGES*>(&m_before), 0, nullptr,
                            nullptr);
}

} // namespace tovix::install
