#pragma once

#include <chrono>
#include <cstdint>

namespace tovix::render {

/// A bar in the last line of the error stream where that is a terminal; nothing elsewhere. [control]
class ProgressBar {
public:
    /// `total` is what `show` is compared with, in any unit.
    ProgressBar(bool wanted, std::uint64_t total);
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;
    /// Wipes the bar away.
    ~ProgressBar();

    /// Shows how much of the total is done; redraws ten times a second at most, and not in the first half second.
    void show(std::uint64_t done);

private:
    using Clock = std::chrono::steady_clock;

    bool m_enabled;
    bool m_visible = false;
    std::uint64_t m_total;
    Clock::time_point m_nextDraw;
};

} // namespace tovix::render
