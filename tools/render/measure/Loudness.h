#pragma once

#include <ebur128.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

namespace tovix::render {

/// Figures of one side of the effect; absent where libebur128 does not take the format, or memory was short.
struct LoudnessFigures {
    /// Gated loudness of the whole (EBU R 128), LUFS; -infinity when all of it lies below the gate.
    std::optional<double> integratedLufs;
    /// Highest true peak of all channels, dBTP.
    std::optional<double> truePeakDb;
};

/// Measures loudness and true peak of interleaved sound with libebur128. [control]
class Loudness {
public:
    /// `channelMask` is the platform's speaker mask, 0 for none.
    Loudness(std::uint32_t channels, std::uint32_t channelMask, std::uint32_t sampleRateHz);
    void add(const float* samples, std::size_t frameCount);
    [[nodiscard]] LoudnessFigures figures() const;

private:
    struct Destroy {
        void operator()(ebur128_state* pState) const noexcept;
    };
    std::unique_ptr<ebur128_state, Destroy> m_state;
};

} // namespace tovix::render
