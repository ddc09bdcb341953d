#pragma once

#include <windows.h>

namespace tovix {

/// Holds a slim lock exclusively while it lives. Slim locks need no set-up and never allocate.
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
