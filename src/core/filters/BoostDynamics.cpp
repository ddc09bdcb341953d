#include "filters/BoostDynamics.h"

#include "filters/Decibels.h"
#include "text/Limits.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

namespace tovix {
namespace {

/// The reduction begins envelope / (ratio - 1) dB below full scale: at 2 as far below as the peak stood above, at 3
/// half as far. The ratio rises with the boost from one to the other, 1 over 20 dB.
constexpr double smallestRatio = 2.0;
constexpr double largestRatio = 3.0;
constexpr double ratioPerDb = (largestRatio - smallestRatio) / maxBoostDb;
/// Added before the logarithm, so that silence has a level.
constexpr double levelFloor = 1e-25;
/// About 5376 dB, where a pre-gain is held: beyond, the largest sample's product would not be finite, or the
/// reduction that brings it back to full scale, its reciprocal, would be so small that it counts as zero.
constexpr double largestPreGain =
    0.5 / std::numeric_limits<double>::min() / static_cast<double>(std::numeric_limits<float>::max());

/// A bound that the level of `magnitude` (positive, finite, normal) never exceeds, at most 0.52 dB above it: log2 of
/// the mantissa 1 + m is at most m + 0.0861 (the largest distance of the curve from its chord).
[[gnu::always_inline]] inline double levelBoundDb(double magnitude) noexcept {
    constexpr double chordError = 0.08608;
    constexpr std::int64_t oneBits = std::int64_t{1023} << 52;
    constexpr double perUnit = 1.0 / static_cast<double>(std::int64_t{1} << 52);
    const auto octaves = static_cast<double>(std::bit_cast<std::int64_t>(magnitude) - oneBits) * perUnit;
    return (octaves + chordError) * decibelsPerOctave;
}

} // namespace

void BoostDynamics::setBoost(double boostDb) noexcept {
    if (m_boostDb < 0.0 || m_boostDb > maxBoostDb) {
        return;
    }
    m_boostDb = boostDb;
    m_preGain = std::min(std::exp(boostDb * nepersPerDecibel), largestPreGain);
    const double ratio = boostDb * ratioPerDb + smallestRatio;
    if (ratio >= smallestRatio && ratio <= largestRatio) {
        m_ratio = ratio;
        lowerThreshold(m_envelopeDb / (1.0 - ratio));
    }
}

void BoostDynamics::setSampleRateHz(double sampleRateHz) noexcept {
    if (sampleRateHz > 0.0 && std::isfinite(sampleRateHz)) {
        m_sampleRateHz = sampleRateHz;
    }
}

void BoostDynamics::lowerThreshold(double thresholdDb) noexcept {
    if (!(thresholdDb >= m_thresholdDb)) {
        m_thresholdDb = thresholdDb;
    }
}

void BoostDynamics::attack(double levelDb) noexcept {
    m_envelopeDb = levelDb;
    lowerThreshold(levelDb / (1.0 - m_ratio));
    m_releaseStepDb = 0.0;
}

/// Lets the envelope fall by one frame's step, unless the frame's level stands above that.
void BoostDynamics::release(double levelDb) noexcept {
    if (m_releaseStepDb < std::numeric_limits<double>::epsilon()) {
        m_releaseStepDb = m_envelopeDb / (m_releaseMs * m_sampleRateHz * 0.001);
    }
    const double released = std::max(m_envelopeDb - m_releaseStepDb, 0.0);
    if (!(levelDb > released)) {
        m_envelopeDb = released;
        m_thresholdDb = released / (1.0 - m_ratio);
    }
}

/// Feeds one frame's peak, already pre-amplified; returns the gain that the frame gets.
double BoostDynamics::reductionGain(double peak) noexcept {
    const double magnitude = peak + levelFloor;
    // Most frames lie so far below the threshold that their exact level cannot matter.
    if (magnitude > 0.0) {
        const double boundDb = levelBoundDb(magnitude);
        if (boundDb <= m_thresholdDb) {
            if (m_envelopeDb > 0.0) {
                release(boundDb);
            }
            return 1.0;
        }
    }
    const double levelDb = std::log(magnitude) * decibelsPerNeper;
    if (levelDb > m_envelopeDb) {
        attack(levelDb);
    } else if (m_envelopeDb > 0.0) {
        release(levelDb);
    }
    const double excessDb = levelDb - m_thresholdDb;
    return excessDb > 0.0 ? std::exp((1.0 / m_ratio - 1.0) * excessDb * nepersPerDecibel) : 1.0;
}

/// Whether no frame up to `peak` changes anything: no reduction is being released, and none begins below full scale.
bool BoostDynamics::passesPlainly(double peak) const noexcept {
    return m_envelopeDb <= 0.0 && m_thresholdDb >= 0.0 && peak * m_preGain + levelFloor <= 1.0;
}

void BoostDynamics::process(float* const* channels, std::size_t channelCount, std::size_t frameCount) noexcept {
    const Kernels& inner = *m_pKernels;
    float peak = 0.0F;
    for (std::size_t c = 0; c < channelCount; ++c) {
        // An infinite or undefined sample plays as silence; in the envelope it would stay for good.
        const float channelPeak = inner.silenceNonFinite(channels[c], frameCount);
        peak = channelPeak > peak ? channelPeak : peak;
    }
    if (passesPlainly(static_cast<double>(peak))) {
        for (std::size_t c = 0; c < channelCount; ++c) {
            inner.applyPreciseGain(channels[c], frameCount, m_preGain);
        }
    } else if (channelCount == 2) {
        limitStereo(channels[0], channels[1], frameCount);
    } else {
        limit(channels, channelCount, frameCount);
    }
}

void BoostDynamics::limitStereo(float* left, float* right, std::size_t frameCount) noexcept {
    for (std::size_t f = 0; f < frameCount; ++f) {
        const double l = static_cast<double>(left[f]) * m_preGain;
        const double r = static_cast<double>(right[f]) * m_preGain;
        const double gain = reductionGain(std::max(std::fabs(l), std::fabs(r)));
        left[f] = static_cast<float>(l * gain);
        right[f] = static_cast<float>(r * gain);
    }
}

void BoostDynamics::limit(float* const* channels, std::size_t channelCount, std::size_t frameCount) noexcept {
    for (std::size_t f = 0; f < frameCount; ++f) {
        double peak = -1.0;
        for (std::size_t c = 0; c < channelCount; ++c) {
            peak = std::max(peak, std::fabs(static_cast<double>(channels[c][f]) * m_preGain));
        }
        const double gain = reductionGain(peak);
        for (std::size_t c = 0; c < channelCount; ++c) {
            channels[c][f] = static_cast<float>(static_cast<double>(channels[c][f]) * m_preGain * gain);
        }
    }
}

} // namespace tovix
