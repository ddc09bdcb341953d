#include "filters/EffectEqualizer.h"

#include "filters/EqualizerDesign.h"
#include "log/Log.h"
#include "memory/MemoryMgr.h"

#include <limits>
#include <memory>

namespace tovix {

ChannelList EffectEqualizer::setup(float sampleRateHz, std::uint32_t maxFrames, ChannelList channels) {
    m_convolvers.reset();
    m_channelCount = 0;
    if (channels.empty() || channels.size() > std::numeric_limits<std::uint32_t>::max()) {
        return channels;
    }
    const auto count = static_cast<std::uint32_t>(channels.size());
    const auto h = designImpulseResponse({m_points, m_tapCount, sampleRateHz});
    if (h) {
        m_convolvers = makeConvolvers(count, {h.data(), m_tapCount}, maxFrames);
        m_channelCount = m_convolvers ? count : 0;
        if (m_convolvers && !PartitionedConvolver::stepsAllocateNothing(maxFrames)) {
            FunctionLog("EffectEqualizer::setup", "filters\\EffectEqualizer", this)
                .warning("The block length has a prime factor above 31, with which FFTW allocates in every block: ",
                         maxFrames);
        }
    }
    return channels;
}

EffectEqualizer::ConvolverArray EffectEqualizer::makeConvolvers(std::uint32_t count, std::span<const float> h,
                                                                std::uint32_t blockFrames) noexcept {
    static_assert(alignof(PartitionedConvolver) <= MemoryMgr::alignmentBytes);
    auto* const pConvolvers =
        static_cast<PartitionedConvolver*>(MemoryMgr::alloc(std::size_t{count} * sizeof(PartitionedConvolver)));
    if (pConvolvers == nullptr) {
        return {};
    }
    std::uninitialized_value_construct_n(pConvolvers, count);
    ConvolverArray convolvers{pConvolvers, DestroyConvolvers{count}};
    for (std::uint32_t c = 0; c < count; ++c) {
        if (!convolvers[c].init(h, blockFrames)) {
            return {};
        }
    }
    return convolvers;
}

void EffectEqualizer::DestroyConvolvers::operator()(PartitionedConvolver* pConvolvers) const noexcept {
    std::destroy_n(pConvolvers, count);
    MemoryMgr::free(pConvolvers);
}

void EffectEqualizer::process(float** outputs, float** inputs, std::uint32_t) noexcept {
    PartitionedConvolver* const pConvolvers = m_convolvers.get();
    for (std::uint32_t c = 0; c < m_channelCount; ++c) {
        PartitionedConvolver& convolver = pConvolvers[c];
        convolver.pushInput(inputs[c]);
        convolver.accumulate();
        convolver.popOutput(outputs[c]);
    }
}

} // namespace tovix
