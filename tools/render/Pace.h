#pragma once

#include "render/Interruption.h"

#include <chrono>
#include <cstdint>

namespace tovix::render {

/// Keeps a run at the pace of its sound, where that is wanted.
class Pace {
public:
    Pace(std::uint32_t sampleRateHz, bool realtime)
        : m_sampleRateHz(sampleRateHz), m_realtime(realtime), m_start(Clock::now()) {}

    /// Waits until `frames` frames would have been heard. Throws RenderError when interrupted.
    void keep(std::uint64_t frames) const {
        if (m_realtime) {
            const std::chrono::duration<double> heard(static_cast<double>(frames) / m_sampleRateHz);
            Interruption::sleepUntil(m_start + std::chrono::duration_cast<Clock::duration>(heard));
        }
    }

private:
    using Clock = std::chrono::steady_clock;

    std::uint32_t m_sampleRateHz;
    bool m_realtime;
    Clock::time_point m_start;
};

} // namespace tovix::render
