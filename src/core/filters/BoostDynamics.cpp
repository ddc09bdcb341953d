#include "filters/BoostDynamics.h"

#include "filters/Decibels.h"
#include "text/Limits.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace tovix {
namespace {

/// The reduction begins envelope / (ratio - 1) dB below full scale: at 2 as far below as the peak stood above, at 3
/// half as far. The ratio rises with the boost from one to the other, 1 over 20 dB.
constexpr double smallestRatio = 2.0;
constexpr double largestRatio = 3.0;
constexpr double ratioPerDb = (largestRatio - smallestRatio) / maxBoostDb;
/// About 5376 dB, where a pre-gain is held: beyond, the largest sample's product would not be finite, or the
/// reduction that brings it back to full scale, its reciprocal, would be so small that it counts as zero.
constexpr double largestPreGain =
    0.5 / std::numeric_limits<double>::min() / static_cast<double>(std::numeric_limits<float>::max());
constexpr double releaseSeconds = 5.0;
constexpr double initialSampleRateHz = 44100.0;
/// Frames worked on at once: few enough for the stack and the nearest cache.
constexpr std::size_t longestRun = 256;

} // namespace

BoostDynamics::BoostDynamics() noexcept {
    setRatio(smallestRatio);
    setSampleRateHz(initialSampleRateHz);
}

void BoostDynamics::setBoost(double boostDb) noexcept {
    if (m_boostDb < 0.0 || m_boostDb > maxBoostDb) {
        return;
    }
    m_boostDb = boostDb;
    m_terms.preGain = std::min(std::exp(boostDb * nepersPerDecibel), largestPreGain);
    const double ratio = boostDb * ratioPerDb + smallestRatio;
    if (ratio >= smallestRatio && ratio <= largestRatio) {
        setRatio(ratio);
    }
}

void BoostDynamics::setRatio(double ratio) noexcept {
    m_terms.thresholdPerOctave = 1.0 / (1.0 - ratio);
    m_terms.gainPerOctave = 1.0 / ratio - 1.0;
    // What is being released stays, but for a threshold that is lower now; the next frame released has the new
    // ratio's.
    m_state.threshold = std::min(m_state.threshold, m_state.envelope * m_terms.thresholdPerOctave);
    m_state.heldLevel = m_state.envelope;
    m_state.releasedFrames = 0.0;
}

void BoostDynamics::setSampleRateHz(double sampleRateHz) noexcept {
    if (sampleRateHz > 0.0 && std::isfinite(sampleRateHz)) {
        m_terms.stepPerLevel = std::min(1.0 / (releaseSeconds * sampleRateHz), 1.0);
    }
}

void BoostDynamics::process(float* const* channels, std::size_t channelCount, std::size_t frameCount) noexcept {
    if (channelCount == 0) {
        return;
    }
    if (passesPlainly({channels, channelCount, 0, frameCount})) {
        for (std::size_t c = 0; c < channelCount; ++c) {
            m_pKernels->applyPreciseGain(channels[c], frameCount, m_terms.preGain);
        }
        return;
    }
    for (std::size_t first = 0; first < frameCount; first += longestRun) {
        limit({channels, channelCount, first, std::min(longestRun, frameCount - first)});
    }
}

/// Whether no frame changes anything: no reduction is being released, and none begins below full scale.
bool BoostDynamics::passesPlainly(const ChannelRun& run) const noexcept {
    return m_state.envelope <= 0.0 && m_state.threshold >= 0.0 &&
           static_cast<double>(m_pLoops->largestMagnitude(run)) * m_terms.preGain <= 1.0;
}

void BoostDynamics::limit(const ChannelRun& run) noexcept {
    alignas(64) float peaks[longestRun];
    if (!m_pLoops->linkedPeaks(run, peaks)) {
        // An infinite or undefined sample plays as silence; in the envelope it would stay for good.
        for (std::size_t c = 0; c < run.channelCount; ++c) {
            m_pKernels->silenceNonFinite(run.channels[c] + run.first, run.count);
        }
        m_pLoops->linkedPeaks(run, peaks);
    }
    alignas(64) double factors[longestRun];
    m_pLoops->limit(m_terms, m_state, peaks, run.count, factors);
    m_pLoops->applyFactors(run, factors);
}

} // namespace tovix
