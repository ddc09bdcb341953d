#pragma once

namespace tovix::test {

/// While it lives the calling thread must behave as the audio thread: RealtimeSanitizer ends the process at any
/// allocation, lock or blocking call that the C library is asked for.
class RealtimeGuard {
public:
    RealtimeGuard();
    ~RealtimeGuard();
    RealtimeGuard(const RealtimeGuard&) = delete;
    RealtimeGuard& operator=(const RealtimeGuard&) = delete;
};

/// Lets the calling thread make no system call at all from here on but `exit_group` and the writing of a message;
/// any other ends the process with SIGSYS. There is no way back: for a child process.
void forbidSystemCalls();

} // namespace tovix::test
