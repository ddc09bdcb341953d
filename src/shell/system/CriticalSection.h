#pragma once

#include <windows.h>

namespace tovix {

/// A recursive process-local lock, for std::lock_guard. It never allocates, unlike this toolchain's std::mutex.
class CriticalSection {
public:
    CriticalSection() noexcept { ::InitializeCriticalSection(&m_section); }
    ~CriticalSection() { ::DeleteCriticalSection(&m_section); }
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;

    void lock() noexcept { ::EnterCriticalSection(&m_section); }
    void unlock() noexcept { ::LeaveCriticalSection(&m_section); }

private:
    CRITICAL_SECTION m_section;
};

} // namespace tovix
