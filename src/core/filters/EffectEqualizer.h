#pragma once

#include "convolution/PartitionedConvolver.h"
#include "filters/IFilter.h"
#include "filters/ResponseInterpolator.h"
#include "memory/RtSection.h"

#include <cstdint>
#include <memory>
#include <span>
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

    /// [control] Designs the filter and builds one convolver per channel for blocks of exactly `maxFrames`. History
    /// of an earlier setup is lost. A block length whose blocks would allocate (see PartitionedConvolver) is logged.
    ChannelList setup(float sampleRateHz, std::uint32_t maxFrames, ChannelList channels) override;

    /// [audio] Consumes and produces `maxFrames` frames per channel and ignores the frame count. A channel's
    /// output may be its input's buffer.
    void process(float** outputs, float** inputs, std::uint32_t) noexcept override RT_SECTION;

private:
    struct DestroyConvolvers {
        std::uint32_t count;
        void operator()(PartitionedConvolver* pConvolvers) const noexcept;
    };
    using ConvolverArray = std::unique_ptr<PartitionedConvolver[], DestroyConvolvers>;

    static ConvolverArray makeConvolvers(std::uint32_t count, std::span<const float> h,
                                         std::uint32_t blockFrames) noexcept;

    std::vector<ResponsePoint> m_points;
    std::uint32_t m_tapCount;
    ConvolverArray m_convolvers;
    /// Channels that are being filtered; 0 while inert.
    std::uint32_t m_channelCount = 0;
};

} // namespace tovix
