#pragma once

namespace tovix::render {

/// While it lives, a request to end the program (SIGINT, SIGTERM, SIGHUP where there is one) is noted instead of
/// obeyed, so that what is unfinished can be removed first. One at a time.
class Interruption {
public:
    Interruption() noexcept;
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;
    ~Interruption();

    /// Throws RenderError once a request has come.
    static void check();
};

} // namespace tovix::render
