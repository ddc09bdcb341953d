#include "filters/EffectMaximizer.h"

#include "filters/Decibels.h"
#include "text/Limits.h"

#include <algorithm>
#include <cmath>

namespace tovix {
namespace {

constexpr double fallbackRateHz = 44100.0;
/// Longer than half a period of 20 Hz, so that any tone that can be heard has a peak in every window.
constexpr double holdSeconds = 0.025;
/// Time constant of the gain's rise. After a burst of 10 ms that stood 12 dB over, 250 ms bring it back to 0.7 dB
/// below where it was; a third less bends dense sound by a fifth more.
constexpr double releaseSeconds = 0.1;
/// A single peak's reduction lasts as long as the peak and the hold. 15 ms are a drum's.
constexpr double singlePeakSeconds = holdSeconds + 0.015;
/// The slow gain follows a dense programme down within some beats of its tones ...
constexpr double slowFallSeconds = 0.08;
/// ... and up over some bars: what five tones are bent by is in proportion to fall over rise.
constexpr double slowRiseSeconds = 2.0;
/// Distances between two gains below it count as none (-140 dB): the exponentials end, and so do their denormals.
constexpr double smallestDistance = 1e-7;

/// What an exponential of this time constant leaves of a distance after `seconds`.
double remainingAfter(double seconds, double timeConstantSeconds) noexcept {
    return std::exp(-seconds / timeConstantSeconds);
}

double gainOf(std::int32_t tenths, std::int32_t least, std::int32_t most) noexcept {
    return std::exp(std::clamp(tenths, least, most) * nepersPerTenth);
}

[[gnu::always_inline]] inline float larger(float a, float b) noexcept {
    return a > b ? a : b;
}

[[gnu::always_inline]] inline double notNegligible(double distance) noexcept {
    return distance < smallestDistance ? 0.0 : distance;
}

} // namespace

EffectMaximizer::EffectMaximizer(std::int32_t level, std::int32_t ceiling) noexcept
    : m_preGain(gainOf(level, -maxMaximizerTenths, maxMaximizerTenths)),
      m_ceiling(gainOf(ceiling, minCeilingTenths, 0)) {}

ChannelList EffectMaximizer::setup(float sampleRateHz, std::uint32_t, ChannelList channels) {
    const auto given = static_cast<double>(sampleRateHz);
    const double rate =
        given > 0.0 && std::isfinite(given) ? std::min(given, double{maxSampleRateHz}) : fallbackRateHz;
    m_channelCount = channels.size();
    m_ready = m_window.setup(static_cast<std::size_t>(std::ceil(holdSeconds * rate)));
    const double segmentSeconds = static_cast<double>(m_window.segmentFrames()) / rate;
    for (std::size_t i = 0; i < runFrames; ++i) {
        m_remaining[i] = remainingAfter(static_cast<double>(i + 1) / rate, releaseSeconds);
    }
    m_slowFall = 1.0 - remainingAfter(segmentSeconds, slowFallSeconds);
    m_slowRise = 1.0 - remainingAfter(segmentSeconds, slowRiseSeconds);
    m_lastingSegments = static_cast<std::size_t>(std::max(std::round(singlePeakSeconds / segmentSeconds), 1.0));
    return channels;
}

FilterPtr EffectMaximizer::standIn() const noexcept {
    return makeRt<EffectMaximizer>(maxMaximizerTenths, 0);
}

inline double EffectMaximizer::needFor(float peak) const noexcept {
    const double amplified = static_cast<double>(peak) * m_preGain;
    return amplified > m_ceiling ? m_ceiling / amplified : 1.0;
}

/// Whether frames up to `peak` change nothing but by the pre-gain: nothing above the ceiling is in the window, and no
/// reduction is being released.
bool EffectMaximizer::passesPlainly(float peak) const noexcept {
    return m_glide.distance == 0.0 && m_slowGain == 1.0 && m_glide.goal == 1.0 && m_reducedSegments == 0 &&
           needFor(larger(larger(peak, m_lastMaximum), m_segmentMaximum)) == 1.0;
}

void EffectMaximizer::process(float**, float** inputs, std::uint32_t frameCount) noexcept {
    if (!m_ready) {
        return;
    }
    float peak = 0.0F;
    for (std::size_t c = 0; c < m_channelCount; ++c) {
        peak = larger(m_pKernels->silenceNonFinite(inputs[c], frameCount), peak);
    }
    if (passesPlainly(peak)) {
        m_window.skip(frameCount);
        for (std::size_t c = 0; c < m_channelCount; ++c) {
            m_pKernels->applyPreciseGain(inputs[c], frameCount, m_preGain);
        }
        return;
    }
    for (std::size_t done = 0; done < frameCount;) {
        const std::size_t count = std::min(frameCount - done, m_window.segmentFrames() - m_window.offset());
        limitPiece(inputs, done, count);
        done += count;
    }
}

/// `count` frames from `first` on, all of one segment.
void EffectMaximizer::limitPiece(float* const* channels, std::size_t first, std::size_t count) noexcept {
    float peaks[PeakWindow::maxSegmentFrames];
    double gains[PeakWindow::maxSegmentFrames];
    std::fill_n(peaks, count, 0.0F);
    for (std::size_t c = 0; c < m_channelCount; ++c) {
        const float* const samples = channels[c] + first;
        for (std::size_t f = 0; f < count; ++f) {
            peaks[f] = larger(std::fabs(samples[f]), peaks[f]);
        }
    }
    m_window.push(peaks, peaks, count);
    gainsFor(peaks, gains, count);
    if (m_window.offset() == 0) {
        finishSegment();
    }
    for (std::size_t c = 0; c < m_channelCount; ++c) {
        float* const samples = channels[c] + first;
        for (std::size_t f = 0; f < count; ++f) {
            samples[f] = static_cast<float>(static_cast<double>(samples[f]) * gains[f]);
        }
    }
}

inline void EffectMaximizer::Glide::moveTo(double newGoal) noexcept {
    distance = notNegligible(distance + (newGoal - goal));
    startDistance = distance;
    framesSinceStart = 0;
    goal = newGoal;
}

/// The gains, with the pre-gain in them, of frames whose windows have these maxima.
void EffectMaximizer::gainsFor(const float* maxima, double* gains, std::size_t count) noexcept {
    // Copies, which the stores into `gains` cannot change.
    Glide glide = m_glide;
    float last = m_lastMaximum;
    for (std::size_t f = 0; f < count;) {
        if (maxima[f] != last) {
            last = maxima[f];
            m_segmentMaximum = larger(last, m_segmentMaximum);
            glide.moveTo(std::min(needFor(last), m_slowGain));
        } else if (glide.framesSinceStart == runFrames) {
            glide.moveTo(glide.goal);
        }
        const std::size_t room = std::min(count - f, runFrames - glide.framesSinceStart);
        std::size_t run = 1;
        while (run < room && maxima[f + run] == last) {
            ++run;
        }
        const double* const remaining = m_remaining + glide.framesSinceStart;
        for (std::size_t i = 0; i < run; ++i) {
            gains[f + i] = (glide.goal - glide.startDistance * remaining[i]) * m_preGain;
        }
        glide.distance = glide.startDistance * remaining[run - 1];
        glide.framesSinceStart += run;
        f += run;
    }
    m_glide = glide;
    m_lastMaximum = last;
}

/// Lets the slow gain follow the segment's largest need for a reduction.
void EffectMaximizer::finishSegment() noexcept {
    const double need = needFor(m_segmentMaximum);
    m_segmentMaximum = m_lastMaximum;
    m_reducedSegments = need < 1.0 ? std::min(m_reducedSegments + 1, m_lastingSegments) : 0;
    if (need >= m_slowGain) {
        m_slowGain = 1.0 - notNegligible((1.0 - m_slowGain) - (need - m_slowGain) * m_slowRise);
    } else if (m_reducedSegments == m_lastingSegments) {
        m_slowGain += (need - m_slowGain) * m_slowFall;
    }
    m_glide.moveTo(std::min(needFor(m_lastMaximum), m_slowGain));
}

} // namespace tovix
