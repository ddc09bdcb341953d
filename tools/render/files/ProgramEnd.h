#pragma once

#include "curves/Refusal.h"

#include <chrono>
#include <string>

namespace tovix::render {

/// How the program ends; printed by --help.
enum class ExitStatus : int {
    success = 0,
    failure = 1,
    usage = 2,
    unreadableInput = 3,
    unsupportedFormat = 4,
    settingsTooLong = 5,
    uselessLine = 6,
    blockSize = 7,
    changeTime = 8,
    unwritableOutput = 9,
    unreadableSettings = 10,
    interrupted = 130,
};

using RenderError = RefusalWithStatus<ExitStatus>;

/// While it lives, a request to end the program (SIGINT, SIGTERM or SIGHUP; on Windows Ctrl-C, Ctrl-Break or the
/// console's closing) is noted instead of obeyed, however often it comes, so that unfinished files can be removed
/// first. Requests arrive in a signal handler or on a thread of the system; everything here is called on the
/// program's own thread. [control]
class Interruption {
public:
    Interruption() noexcept;
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;
    ~Interruption();

    /// Throws RenderError once a request has come.
    static void check();

    /// Sleeps until `end`, but throws as `check` does within 50 ms of a request.
    static void sleepUntil(std::chrono::steady_clock::time_point end);
};

} // namespace tovix::render
