#pragma once

#include "render/engine/CoreEngine.h"
#include "render/engine/SettingsPlan.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tovix::render {

/// What the limiter of a boost or a maximizer line did.
struct LimiterActivity {
    /// Whether the settings had a limiter at any time.
    bool present = false;
    /// Frames at which the settings had one such line with a limiter, and the sound was loud enough to tell.
    std::uint64_t measuredFrames = 0;
    /// Those of them that it turned down by more than 0.001 dB.
    std::uint64_t limitedFrames = 0;
    /// The most that it turned a frame down.
    double peakReductionDb = 0.0;
    /// Whether at any time there were several such lines, whose limiters cannot be told apart.
    bool ambiguous = false;
    /// Whether nothing was measured, because a previous effect stands between the input and the limiter.
    bool isBehindPreviousEffect = false;
};

/// Measures the limiter from samples alone, whichever engine runs: per frame, the level behind its line over
/// the level before it, less the line's gain. The limiter turns all channels of a frame by one gain and at once, so
/// that this is exact. What reaches the line is the input, or, behind an equalizer, a replay of the lines before it;
/// what leaves it is the engine's output, or, before an equalizer, a replay of the line alone. Blocks in which
/// settings fade over are left out. [control]
class LimiterProbe {
public:
    LimiterProbe(const EngineFormat& format, bool isBehindPreviousEffect);

    /// New settings, of which the engine has built a chain: replays start anew, as the filters in it do.
    void follow(const Settings& settings);

    /// One whole block of the engine's input and output, of which `frameCount` frames count; `settled` says whether
    /// it was free of fading. Returns the block's peak reduction in dB where it was measured.
    std::optional<double> addBlock(const float* input, const float* output, std::size_t frameCount, bool settled);

    [[nodiscard]] const LimiterActivity& activity() const noexcept { return m_activity; }

private:
    /// One replay engine and its block.
    class Replay {
    public:
        void open(const EngineFormat& format, const std::string& settings);
        void close() noexcept { m_engine.reset(); }
        /// The block as the replayed lines leave it; the input itself where there are none.
        const float* run(const float* input);

    private:
        std::optional<CoreEngine> m_engine;
        std::vector<float> m_output;
    };

    double smallestGain(const float* before, const float* after, std::uint32_t afterChannels, std::size_t frameCount);

    EngineFormat m_format;
    /// The lines before the limiter's, and that line where others follow it.
    Replay m_before;
    Replay m_limiter;
    bool m_active = false;
    bool m_limiterIsLast = false;
    /// Of the limiter's line.
    double m_preGain = 1.0;
    LimiterActivity m_activity;
};

} // namespace tovix::render
