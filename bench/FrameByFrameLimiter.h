#pragma once

#include "filters/Decibels.h"
#include "kernels/Kernels.h"
#include "text/Limits.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace tovix::bench {

/// What BoostDynamics does, one frame after the other, with the library's logarithm and exponential: what the
/// vector loops are timed against.
class FrameByFrameLimiter {
public:
    FrameByFrameLimiter(double boostDb, double sampleRateHz) : m_releaseFrames(5.0 * sampleRateHz) {
        setBoost(boostDb);
    }

    void setBoost(double boostDb) {
        if (m_boostDb < 0.0 || m_boostDb > maxBoostDb) {
            return;
        }
        m_boostDb = boostDb;
        m_preGain = std::min(std::exp(boostDb * nepersPerDecibel), largestPreGain);
        const double ratio = boostDb / maxBoostDb + 2.0;
        if (ratio >= 2.0 && ratio <= 3.0) {
            m_ratio = ratio;
            m_thresholdDb = std::min(m_thresholdDb, m_envelopeDb / (1.0 - ratio));
        }
    }

    void process(float* const* channels, std::size_t channelCount, std::size_t frameCount) {
        const Kernels& inner = *m_pKernels;
        float peak = 0.0F;
        for (std::size_t c = 0; c < channelCount; ++c) {
            peak = std::max(peak, inner.silenceNonFinite(channels[c], frameCount));
        }
        if (m_envelopeDb <= 0.0 && peak * m_preGain + levelFloor <= 1.0) {
            for (std::size_t c = 0; c < channelCount; ++c) {
                inner.applyPreciseGain(channels[c], frameCount, m_preGain);
            }
        } else if (channelCount == 2) {
            limitStereo(channels[0], channels[1], frameCount);
        } else {
            limit(channels, channelCount, frameCount);
        }
    }

private:
    static constexpr double levelFloor = 1e-25;
    static constexpr double largestPreGain =
        0.5 / std::numeric_limits<double>::min() / static_cast<double>(std::numeric_limits<float>::max());

    /// At most 0.52 dB above the level of `magnitude`: log2(1 + m) is at most m + 0.0861.
    static double levelBoundDb(double magnitude) {
        constexpr std::int64_t oneBits = std::int64_t{1023} << 52;
        constexpr double perUnit = 1.0 / static_cast<double>(std::int64_t{1} << 52);
        const auto octaves = static_cast<double>(std::bit_cast<std::int64_t>(magnitude) - oneBits) * perUnit;
        return (octaves + 0.08608) * decibelsPerOctave;
    }

    void attack(double levelDb) {
        m_envelopeDb = levelDb;
        m_thresholdDb = std::min(m_thresholdDb, levelDb / (1.0 - m_ratio));
        m_releaseStepDb = 0.0;
    }

    void release(double levelDb) {
        if (m_releaseStepDb < std::numeric_limits<double>::epsilon()) {
            m_releaseStepDb = m_envelopeDb / m_releaseFrames;
        }
        const double released = std::max(m_envelopeDb - m_releaseStepDb, 0.0);
        if (!(levelDb > released)) {
            m_envelopeDb = released;
            m_thresholdDb = released / (1.0 - m_ratio);
        }
    }

    double reductionGain(double peak) {
        const double magnitude = peak + levelFloor;
        const double boundDb = levelBoundDb(magnitude);
        if (boundDb <= m_thresholdDb) {
            if (m_envelopeDb > 0.0) {
                release(boundDb);
            }
            return 1.0;
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

    void limitStereo(float* left, float* right, std::size_t frameCount) {
        for (std::size_t f = 0; f < frameCount; ++f) {
            const double l = static_cast<double>(left[f]) * m_preGain;
            const double r = static_cast<double>(right[f]) * m_preGain;
            const double gain = reductionGain(std::max(std::fabs(l), std::fabs(r)));
            left[f] = static_cast<float>(l * gain);
            right[f] = static_cast<float>(r * gain);
        }
    }

    void limit(float* const* channels, std::size_t channelCount, std::size_t frameCount) {
        for (std::size_t f = 0; f < frameCount; ++f) {
            double peak = 0.0;
            for (std::size_t c = 0; c < channelCount; ++c) {
                peak = std::max(peak, std::fabs(static_cast<double>(channels[c][f]) * m_preGain));
            }
            const double gain = reductionGain(peak);
            for (std::size_t c = 0; c < channelCount; ++c) {
                channels[c][f] = static_cast<float>(static_cast<double>(channels[c][f]) * m_preGain * gain);
            }
        }
    }

    const Kernels* m_pKernels = &kernels();
    double m_releaseFrames;
    double m_boostDb = 0.0;
    double m_preGain = 1.0;
    double m_ratio = 2.0;
    double m_thresholdDb = 0.0;
    double m_envelopeDb = 0.0;
    double m_releaseStepDb = 0.0;
};

} // namespace tovix::bench
