#pragma once

#include "convolution/BlockConvolver.h"
#include "filters/IFilter.h"
#include "filters/ResponseInterpolator.h"
#include "memory/RtSection.h"

#include <cstdint>
#include <vector>

namespace tovix {

/// Gives every channel an arbitrary magnitude response, as a minimum-phase FIR filter without added latency.
///
/// Inert, that is without any effect on the sound, until `setup`, with no channels, and when the design is not
/// finite or memory or a plan was refused.
class EffectEqualizer final : public IFilter {
public:
    /// [control] `points` in rising order of frequency; `tapCount` is the filter's length.
    EffectEqualizer(std::vector<ResponsePoint> points, std::uint32_t tapCount) noexcept
        : m_points(std::move(points)), m_tapCount(tapCount) {}

    /// [control] Designs the filter and builds the convolver of the engine in force, whose name is logged, for blocks
    /// of exactly `maxFrames`. History of an earlier setup is lost. A block length whose blocks would allocate (see
    /// PartitionedConvolver) is logged.
    ChannelList setup(float sampleRateHz, std::uint32_t maxFrames, ChannelList channels) override;

    /// [audio] Consumes and produces `maxFrames` frames per channel and ignores the frame count. A channel's
    /// output may be its input's buffer.
    void process(float** outputs, float** inputs, std::uint32_t) noexcept override RT_SECTION;

    /// [control] An equalizer of an impulse, which needs no design.
    [[nodiscard]] FilterPtr standIn() const noexcept override;

private:
    std::vector<ResponsePoint> m_points;
    std::uint32_t m_tapCount;
    bool m_standsIn = false;
    /// Null while inert.
    BlockConvolverPtr m_pConvolver;
};

} // namespace tovix
