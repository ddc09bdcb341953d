#pragma once

#include <chrono>

namespace tovix::render {

/// While it lives, a request to end the program (SIGINT, SIGTERM or SIGHUP; on Windows Ctrl-C, Ctrl-Break or the
/// console's closing) is noted instead of obeyed, however often it comes, so that what is unfinished can be removed
/// first.
class Interruption {
public:
    Interruption() noexcept;
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;
    ~Interruption();

    /// Throws RenderError once a request has come.
    static void check();

    /// Sleeps until `end`, but throws as `check` does within a twentieth of a second of a request.
    static void sleepUntil(std::chrono::steady_clock::time_point end);
};

} // namespace tovix::render
