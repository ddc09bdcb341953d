#pragma once

#include "kernels/Kernels.h"
#include "kernels/LimiterLoops.h"
#include "memory/RtSection.h"

#include <cstddef>

namespace tovix {

/// The dynamics mode of the boost: a pre-gain followed by a peak limiter that holds its output at 0 dBFS. All
/// channels are linked, the attack is instantaneous and the release linear in dB. Double precision throughout; the
/// loops over the frames are LimiterLoops, and with them the unit of level.
class BoostDynamics {
public:
    /// [control] No boost yet, and 44100 Hz.
    BoostDynamics() noexcept;

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
    void setRatio(double ratio) noexcept;
    [[nodiscard]] bool passesPlainly(const ChannelRun& run) const noexcept RT_SECTION;
    void limit(const ChannelRun& run) noexcept RT_SECTION;

    const Kernels* m_pKernels = &kernels();
    const LimiterLoops* m_pLoops = &limiterLoops();
    double m_boostDb = 0.0;
    LimiterTerms m_terms;
    LimiterState m_state;
};

} // namespace tovix
