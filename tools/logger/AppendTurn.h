#pragma once

#include "system/WinHandles.h"

namespace tovix::logger {

/// This process's turn to append to a file that several processes have open, while it lives. Wine looks for the
/// file's end and then writes, so that two that found the same end would write over each other. Windows appends in
/// one step; there a handle that can do no more gets no lock, and needs none. [control]
class AppendTurn {
public:
    /// Waits a tenth of a second at most: one that hangs in its turn must not stop the others.
    explicit AppendTurn(HANDLE hFile) noexcept : m_hFile(hFile) {
        constexpr int attempts = 20;
        constexpr DWORD pauseMs = 5;
        m_place.OffsetHigh = farBehindEveryEnd;
        for (int i = 0; i < attempts; ++i) {
            m_mine = lock();
            if (m_mine || ::GetLastError() != ERROR_LOCK_VIOLATION) {
                return;
            }
            ::Sleep(pauseMs);
        }
    }
    ~AppendTurn() {
        if (m_mine) {
            ::UnlockFileEx(m_hFile, 0, 1, 0, &m_place);
        }
    }
    AppendTurn(const AppendTurn&) = delete;
    AppendTurn& operator=(const AppendTurn&) = delete;

private:
    /// So that the one byte that is locked keeps nobody from reading or writing.
    static constexpr DWORD farBehindEveryEnd = 0x40000000;

    bool lock() noexcept {
        return ::LockFileEx(m_hFile, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &m_place) != FALSE;
    }

    HANDLE m_hFile;
    OVERLAPPED m_place{};
    bool m_mine = false;
};

} // namespace tovix::logger
