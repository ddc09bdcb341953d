#pragma once

#include <windows.h>

namespace tovix {

/// The locks of the effect; neither allocates, unlike this toolchain's std::mutex. Never on the audio thread.
/// [control]

/// A recursive process-local lock, for std::lock_guard.
class CriticalSection {
public:
    CriticalSection() noexcept { ::InitializeCriticalSection(&m_section); }
    ~CriticalSection() { ::DeleteCriticalSection(&m_section); }
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;

    void lock() noexcept { ::EnterCriticalSection(&m_section); }
    void unlock() noexcept { ::LeaveCriticalSection(&m_section); }

private:
    CRITICAL_SECTION m_section{};
};

/// Holds a slim lock exclusively while it lives. Slim locks need no set-up and are not recursive.
class Exclusive {
public:
    explicit Exclusive(SRWLOCK& lock) noexcept : m_lock(lock) { ::AcquireSRWLockExclusive(&m_lock); }
    ~Exclusive() { ::ReleaseSRWLockExclusive(&m_lock); }
    Exclusive(const Exclusive&) = delete;
    Exclusive& operator=(const Exclusive&) = delete;

private:
    SRWLOCK& m_lock;
};

} // namespace tovix
