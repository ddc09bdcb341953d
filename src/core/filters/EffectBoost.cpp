#include "filters/EffectBoost.h"

#include "filters/Decibels.h"
#include "text/Limits.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <utility>

namespace tovix {
namespace {

/// 1 dB a block, small enough that no step is a click; the whole 20 dB take 20 blocks, which are 0.2 s as a rule.
constexpr std::int32_t largestStep = 10;
/// Bounds one frame's work. 20 tries take the greatest boost down to nothing; 5 more are for targets beyond it.
constexpr int largestBackOffCount = 25;
/// Magnitude up to which an amplified stereo sample is let through: full scale with the greatest boost, 20 dB.
constexpr float clipGuard = 10.0F;
constexpr double dbPerTenth = 0.1;

/// Every audio thread of the process may write it, so it must not tear; no order with other data is needed.
std::atomic<std::int32_t> currentLevel{0};

RT_SECTION std::int32_t clampLevel(std::int64_t level) noexcept {
    return static_cast<std::int32_t>(level < 0 ? 0 : level > maxBoostTenths ? maxBoostTenths : level);
}

/// `level` moved towards `target` by one step at most. 64 bits hold every difference of two levels.
RT_SECTION std::int32_t stepLevel(std::int32_t level, std::int32_t target) noexcept {
    const std::int64_t distance = std::int64_t{target} - level;
    const std::int64_t step = distance > largestStep    ? largestStep
                              : distance < -largestStep ? -largestStep
                                                        : distance;
    return clampLevel(level + step);
}

/// Also false for NaN.
[[gnu::always_inline]] inline bool insideGuard(float sample) noexcept {
    return std::fabs(sample) <= clipGuard;
}

} // namespace

EffectBoost::EffectBoost(std::int32_t level, bool dynamicsMode) noexcept
    : m_targetLevel(level), m_dynamicsMode(dynamicsMode) {
    if (dynamicsMode) {
        setBoost(level * dbPerTenth);
    }
}

void EffectBoost::setBoost(double boostDb) noexcept {
    m_dynamics.setBoost(boostDb);
}

ChannelList EffectBoost::setup(float sampleRateHz, std::uint32_t, ChannelList channels) {
    m_channelCount = channels.size();
    if (m_dynamicsMode) {
        m_dynamics.setSampleRateHz(static_cast<double>(sampleRateHz));
    }
    return channels;
}

void EffectBoost::process(float**, float** inputs, std::uint32_t frameCount) noexcept {
    if (m_dynamicsMode) {
        m_dynamics.process(inputs, m_channelCount, frameCount);
    } else {
        processPlain(inputs, frameCount);
    }
}

std::int32_t EffectBoost::rampLevel() noexcept {
    const std::int32_t level = currentLevel.load(std::memory_order_relaxed);
    if (level == m_targetLevel && m_gainReady) {
        return level;
    }
    const std::int32_t next = stepLevel(level, m_targetLevel);
    currentLevel.store(next, std::memory_order_relaxed);
    m_gain = static_cast<float>(std::exp(next * nepersPerTenth));
    m_gainReady = true;
    return next;
}

void EffectBoost::processPlain(float** channels, std::uint32_t frameCount) noexcept {
    if (rampLevel() == 0) {
        return;
    }
    if (m_channelCount == 2) {
        processPlainStereo(channels[0], channels[1], frameCount);
        return;
    }
    for (std::uint64_t c = 0; c < m_channelCount; ++c) {
        m_pKernels->applyGain(channels[c], frameCount, m_gain);
    }
}

void EffectBoost::processPlainStereo(float* left, float* right, std::uint32_t frameCount) noexcept {
    std::size_t done = 0;
    while (true) {
        done += m_pKernels->applyGainWithin(left + done, right + done, frameCount - done, m_gain, clipGuard);
        if (done == frameCount || !backOff(left[done], right[done])) {
            return;
        }
        ++done;
    }
}

/// Lowers target and gain until the frame fits, and amplifies it; false when no gain is left, and the rest of the
/// block stays as it came in.
bool EffectBoost::backOff(float& left, float& right) noexcept {
    float l = 0.0F;
    float r = 0.0F;
    for (int tries = 0; tries < largestBackOffCount; ++tries) {
        m_targetLevel = m_targetLevel <= largestStep ? 0 : m_targetLevel - largestStep;
        if (rampLevel() == 0) {
            return false;
        }
        l = m_gain * left;
        r = m_gain * right;
        if (insideGuard(l) && insideGuard(r)) {
            break;
        }
    }
    left = l;
    right = r;
    return true;
}

FilterPtr EffectBoost::standIn() const noexcept {
    return makeRt<EffectBoost>(maxBoostTenths, true);
}

void EffectBoost::setProcessLevel(std::int32_t level) noexcept {
    currentLevel.store(clampLevel(level), std::memory_order_relaxed);
}

} // namespace tovix
