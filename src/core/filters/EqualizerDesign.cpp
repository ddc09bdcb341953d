#include "filters/EqualizerDesign.h"

#include "filters/Decibels.h"
#include "filters/MinimumPhase.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace tovix {
namespace {

/// Whether a gain's factor is too large for single precision; false for NaN.
bool isInfiniteFactor(double gainDb) noexcept {
    constexpr double firstInfiniteDb =
        decibelsPerNeper * std::numbers::ln2 * std::numeric_limits<float>::max_exponent;
    return gainDb >= firstInfiniteDb;
}

} // namespace

HeapArray<float> designImpulseResponse(const EqualizerDesign& design) noexcept {
    MinimumPhase minimumPhase = MinimumPhase::make(design.tapCount);
    if (!minimumPhase) {
        return {};
    }
    ResponseInterpolator response{design.points};
    const double binCount = 2.0 * design.tapCount;
    for (std::size_t bin = 0; bin < design.tapCount; ++bin) {
        const double frequencyHz = static_cast<double>(bin) * design.sampleRateHz / binCount;
        const double gainDb = response.gainDb(frequencyHz);
        if (isInfiniteFactor(gainDb)) {
            return {};
        }
        minimumPhase.setMagnitude(bin, gainDb);
    }
    auto h = minimumPhase.impulseResponse();
    const auto isFinite = [](float tap) { return std::isfinite(tap); };
    if (h && !std::all_of(h.data(), h.data() + design.tapCount, isFinite)) {
        return {};
    }
    return h;
}

} // namespace tovix
