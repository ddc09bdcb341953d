#include "filters/EffectEqualizer.h"

#include "convolution/ConvolverEngine.h"
#include "filters/EqualizerDesign.h"
#include "log/Log.h"

#include <limits>

namespace tovix {

ChannelList EffectEqualizer::setup(float sampleRateHz, std::uint32_t maxFrames, ChannelList channels) {
    m_pConvolver.reset();
    if (channels.empty() || channels.size() > std::numeric_limits<std::uint32_t>::max()) {
        return channels;
    }
    const auto h = designImpulseResponse({m_points, m_tapCount, sampleRateHz});
    if (!h) {
        return channels;
    }
    const ConvolverEngine& engine = convolverEngine();
    m_pConvolver = engine.make({{h.data(), m_tapCount}, maxFrames, static_cast<std::uint32_t>(channels.size())});
    const FunctionLog log("EffectEqualizer::setup", "filters\\EffectEqualizer", this);
    log.info("Convolution engine: ", engine.name);
    if (m_pConvolver && !engine.blocksAllocateNothing(maxFrames)) {
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

} // namespace tovix
