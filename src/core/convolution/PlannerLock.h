#pragma once

namespace tovix {

/// The one lock of the process around FFTW's planner, which is not thread-safe. Never taken on the audio thread.
///
/// The shell installs a lock that waits and allocates nothing: on Windows a statically initialised slim lock, whose
/// exclusive acquisition and release are the two functions. Both are [control] and must not fail.
struct PlannerLock {
    /// Waits until no other thread holds the lock, and takes it. Not recursive.
    void (*acquire)() noexcept;
    /// Gives it back, on the thread that took it.
    void (*release)() noexcept;
};

/// [control] Installs `lock` for the whole process. Not while a plan is made or destroyed: call it before the first.
/// Until then the lock is one of this file's, which allocates nothing; on Windows it spins, which is enough where
/// plans hardly ever meet.
void installPlannerLock(const PlannerLock& lock) noexcept;

/// [control] Holds the planner's lock while it lives: for plans that are made or destroyed one after the other, and
/// for nothing between them.
class PlannerHold {
public:
    PlannerHold() noexcept;
    ~PlannerHold();
    PlannerHold(const PlannerHold&) = delete;
    PlannerHold& operator=(const PlannerHold&) = delete;
};

} // namespace tovix
