#pragma once

#include "system/WinHandles.h"

namespace tovix::install {

/// While it lives this process uses its backup and restore privileges, which let it open a key that is opened for
/// them whatever the key's access list says. [control], one thread at a time. Throws InstallRefusal (notElevated)
/// where the process does not have them.
class BackupPrivileges {
public:
    BackupPrivileges();
    ~BackupPrivileges();
    BackupPrivileges(const BackupPrivileges&) = delete;
    BackupPrivileges& operator=(const BackupPrivileges&) = delete;

private:
    /// Two privileges, as the system takes a list of them.
    struct PrivilegePair {
        DWORD count;
        LUID_AND_ATTRIBUTES backup;
        LUID_AND_ATTRIBUTES restore;
    };

    KernelHandle m_token;
    /// Those that were off before.
    PrivilegePair m_before{};
};

} // namespace tovix::install
