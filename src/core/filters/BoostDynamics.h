#pragma once

#include "kernels/Kernels.h"
#include "memory/RtSection.h"

#include <cstddef>

namespace tovix {

/// The dynamics mode of the boost: a pre-gain followed by a peak limiter that holds its output at 0 dBFS. All
/// channels are linked, the attack is instantaneous and the release linear in dB. Levels in dB relative to full
/// scale; double precision throughout.
class BoostDynamics {
public:
    /// [control] No boost yet, and 44100 Hz.
    BoostDynamics() noexcept = default;

    /// [control] Sets pre-gain and ratio for a boost of `boostDb`. Ignored when the boost stored so far lies outside
    /// 0 to 20 dB, deliberately: a value beyond 20 dB is taken once and then blocks every later change. Any value is
    /// safe; one beyond some 5376 dB amplifies like that.
    void setBoost(double boostDb) noexcept;

    /// [control] Rate of the frames to come; anything that is not a positive number is ignored.
    void setSampleRateHz(double sampleRateHz) noexcept;

    /// [audio] Pre-gain, limiter and release over `frameCount` frames of linked channels, in place. A sample that is
    /// not finite plays as silence and leaves no trace. Output is within full scale to a float's last digit.
    void process(float* const* channels, std::size_t channelCount, std::size_t frameCount) noexcept RT_SECTION;

private:
    [[nodiscard]] bool passesPlainly(double peak) const noexcept RT_SECTION;
    void limitStereo(float* left, float* right, std::size_t frameCount) noexcept RT_SECTION;
    void limit(float* const* channels, std::size_t channelCount, std::size_t frameCount) noexcept RT_SECTION;
    double reductionGain(double peak) noexcept RT_SECTION;
    void attack(double levelDb) noexcept RT_SECTION;
    void release(double levelDb) noexcept RT_SECTION;
    void lowerThreshold(double thresholdDb) noexcept RT_SECTION;

    const Kernels* m_pKernels = &kernels();
    double m_sampleRateHz = 44100.0;
    double m_releaseMs = 5000.0;
    /// Level above which gain is reduced, <= 0.
    double m_thresholdDb = 0.0;
    double m_ratio = 2.0;
    double m_boostDb = 0.0;
    double m_preGain = 1.0;
    /// Held peak level that the release has brought down so far, >= 0.
    double m_envelopeDb = 0.0;
    /// dB per frame; 0 means not yet worked out for the present release.
    double m_releaseStepDb = 0.0;
};

} // namespace tovix
