#include "filters/EffectEqualizer.h"

#include "convolution/ConvolverEngine.h"
#include "filters/EqualizerDesign.h"
#include "log/Log.h"

#include <limits>

namespace tovix {
namespace {

HeapArray<float> impulse(std::uint32_t tapCount) noexcept {
    auto h = HeapArray<float>::make(tapCount);
    if (h) {
        h[0] = 1.0F;
    }
    return h;
}

} // namespace

ChannelList EffectEqualizer::setup(float sampleRateHz, std::uint32_t maxFrames, ChannelList channels) {
    m_pConvolver.reset();
    if (channels.empty() || channels.size() > std::numeric_limits<std::uint32_t>::max()) {
        return channels;
    }
    const auto h = m_standsIn ? impulse(m_tapCount) : designImpulseResponse({m_points, m_tapCount, sampleRateHz});
    if (!h) {
        return channels;
    }
    const ConvolverEngine& engine = convolverEngine();
    m_pConvolver = engine.make({{h.data(), m_tapCount}, maxFrames, static_cast<std::uint32_t>(channels.size())});
    if (!m_pConvolver || m_standsIn) {
        return channels;
    }
    const FunctionLog log("EffectEqualizer::setup", "filters\\EffectEqualizer", this);
    log.info("Convolution engine: ", engine.name);
    if (!engine.blocksAllocateNothing(maxFrames)) {
        log.warning("The block length has a prime factor above 31, with which FFTW allocates in every block: ",
                    maxFrames);
    }
    return channels;
}

void EffectEqualizer::process(float** outputs, float** inputs, std::uint32_t) noexcept {
    BlockConvolver* const pConvolver = m_pConvolver.get();
    if (pConvolver != nullptr) {
        pConvolver->process(outputs, inputs);
    }
}

FilterPtr EffectEqualizer::standIn() const noexcept {
    auto pStandIn = m_pConvolver ? makeRt<EffectEqualizer>(std::vector<ResponsePoint>{}, m_tapCount) : nullptr;
    if (pStandIn) {
        pStandIn->m_standsIn = true;
    }
    return pStandIn;
}

} // namespace tovix
