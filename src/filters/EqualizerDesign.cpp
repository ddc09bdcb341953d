#include "filters/EqualizerDesign.h"

#include "filters/MinimumPhase.h"

#include <algorithm>
#include <cmath>

namespace tovix {
namespace {

/// A gain in dB as a factor; remembers the last one, as wide stretches are flat and the power is dear.
class Magnitude {
public:
    float of(double gainDb) noexcept {
        if (gainDb != m_gainDb) {
            m_magnitude = static_cast<float>(std::pow(10.0, gainDb * 0.05));
            m_gainDb = gainDb;
        }
        return m_magnitude;
    }

private:
    double m_gainDb = 0.0;
    float m_magnitude = 1.0F;
};

} // namespace

HeapAlignedArray<float> designImpulseResponse(const EqualizerDesign& design) noexcept {
    MinimumPhase minimumPhase = MinimumPhase::make(design.tapCount);
    if (!minimumPhase) {
        return {};
    }
    ResponseInterpolator response{design.points};
    Magnitude magnitude;
    const double binCount = 2.0 * design.tapCount;
    for (std::size_t bin = 0; bin < design.tapCount; ++bin) {
        const double frequencyHz = static_cast<double>(bin) * design.sampleRateHz / binCount;
        const float wanted = magnitude.of(response.gainDb(frequencyHz));
        // A gain beyond all bounds, or a stretch that begins at 0 Hz or below, where frequency has no logarithm.
        if (!std::isfinite(wanted)) {
            return {};
        }
        minimumPhase.setMagnitude(bin, wanted);
    }
    auto h = minimumPhase.impulseResponse();
    const auto isFinite = [](float tap) { return std::isfinite(tap); };
    if (h && !std::all_of(h.data(), h.data() + design.tapCount, isFinite)) {
        return {};
    }
    return h;
}

} // namespace tovix
