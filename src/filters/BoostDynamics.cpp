#include "filters/BoostDynamics.h"

#include "filters/Decibels.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace tovix {
namespace {

constexpr double largestBoostDb = 20.0;
constexpr double smallestRatio = 2.0;
constexpr double largestRatio = 3.0;
constexpr double ratioPerDb = 0.05;
/// Added before the logarithm, so that silence has a level.
constexpr double levelFloor = 1e-25;
/// A pre-gain beyond this is held here: silence times infinity would be no number.
constexpr double largestPreGain = std::numeric_limits<float>::max();

/// An infinite or undefined sample plays as silence; in the envelope it would stay for good.
[[gnu::always_inline]] inline double finiteOrZero(float sample) noexcept {
    return std::fabs(sample) <= std::numeric_limits<float>::max() ? static_cast<double>(sample) : 0.0;
}

} // namespace

void BoostDynamics::setBoost(double boostDb) noexcept {
    if (m_boostDb < 0.0 || m_boostDb > largestBoostDb) {
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

void BoostDynamics::updateEnvelope(double levelDb) noexcept {
    if (levelDb > m_envelopeDb) {
        m_envelopeDb = levelDb;
        lowerThreshold(levelDb / (1.0 - m_ratio));
        m_releaseStepDb = 0.0;
    } else if (m_envelopeDb > 0.0) {
        if (m_releaseStepDb < std::numeric_limits<double>::epsilon()) {
            m_releaseStepDb = m_envelopeDb / (m_releaseMs * m_sampleRateHz * 0.001);
        }
        const double released = std::max(m_envelopeDb - m_releaseStepDb, 0.0);
        if (!(levelDb > released)) {
            m_envelopeDb = released;
            m_thresholdDb = released / (1.0 - m_ratio);
        }
    }
}

/// Feeds one frame's peak, already pre-amplified; answers the gain that the frame gets.
double BoostDynamics::reductionGain(double peak) noexcept {
    // At rest no frame up to full scale changes anything, so its logarithm need not be taken.
    if (m_envelopeDb <= 0.0 && m_thresholdDb >= 0.0 && peak + levelFloor <= 1.0) {
        return 1.0;
    }
    const double levelDb = std::log(peak + levelFloor) * decibelsPerNeper;
    updateEnvelope(levelDb);
    const double excessDb = levelDb - m_thresholdDb;
    return excessDb > 0.0 ? std::exp((1.0 / m_ratio - 1.0) * excessDb * nepersPerDecibel) : 1.0;
}

void BoostDynamics::processStereo(float* left, float* right, std::size_t frameCount) noexcept {
    for (std::size_t f = 0; f < frameCount; ++f) {
        const double l = finiteOrZero(left[f]) * m_preGain;
        const double r = finiteOrZero(right[f]) * m_preGain;
        const double gain = reductionGain(std::max(std::fabs(l), std::fabs(r)));
        left[f] = static_cast<float>(l * gain);
        right[f] = static_cast<float>(r * gain);
    }
}

void BoostDynamics::process(float* const* channels, std::size_t channelCount, std::size_t frameCount) noexcept {
    for (std::size_t f = 0; f < frameCount; ++f) {
        double peak = -1.0;
        for (std::size_t c = 0; c < channelCount; ++c) {
            peak = std::max(peak, std::fabs(finiteOrZero(channels[c][f]) * m_preGain));
        }
        const double gain = reductionGain(peak);
        for (std::size_t c = 0; c < channelCount; ++c) {
            channels[c][f] = static_cast<float>(finiteOrZero(channels[c][f]) * m_preGain * gain);
        }
    }
}

} // namespace tovix
