#pragma once

#include "filters/BoostDynamics.h"
#include "filters/IFilter.h"

#include <cstdint>

namespace tovix {

/// Loudness boost. Plain mode: a gain that ramps by at most 1 dB a block towards its target, up to 20 dB, and backs
/// off when a stereo sample would run past ten times full scale. Dynamics mode: BoostDynamics. Any channel count.
///
/// The ramped level of the plain mode is one for the process, not one per filter, so that a chain that replaces
/// another goes on where it stopped; two plain boosts ramp it in turn.
class EffectBoost final : public IFilter {
public:
    /// [control] `level` in tenths of a dB; any value is safe.
    EffectBoost(std::int32_t level, bool dynamicsMode) noexcept;

    /// [control] Sets the boost of the dynamics mode, see BoostDynamics::setBoost. The constructor calls it, and
    /// nothing else in the effect does: a new level comes with a new chain. It is there for hosts that use the boost
    /// alone.
    void setBoost(double boostDb) noexcept;

    /// [control] Any channel count; `maxFrames` does not matter.
    ChannelList setup(float sampleRateHz, std::uint32_t maxFrames, ChannelList channels) override;

    /// [audio] Works on `inputs`, which are the outputs too.
    void process(float** outputs, float** inputs, std::uint32_t frameCount) noexcept override RT_SECTION;

    /// [control] Of either mode the dynamics mode, which costs more and leaves the level of the process alone.
    [[nodiscard]] FilterPtr standIn() const noexcept override;

    /// [control] Sets the process-wide level of the plain mode, clamped to 0 to 200 tenths of a dB. For a host that
    /// starts a stream afresh; the effect itself never does.
    static void setProcessLevel(std::int32_t level) noexcept;

private:
    void processPlain(float** channels, std::uint32_t frameCount) noexcept RT_SECTION;
    void processPlainStereo(float* left, float* right, std::uint32_t frameCount) noexcept RT_SECTION;
    bool backOff(float& left, float& right) noexcept RT_SECTION;
    std::int32_t rampLevel() noexcept RT_SECTION;

    float m_gain = 1.0F;
    /// Tenths of a dB; backing off lowers it for good.
    std::int32_t m_targetLevel;
    std::uint64_t m_channelCount = 0;
    BoostDynamics m_dynamics;
    bool m_dynamicsMode;
    bool m_gainReady = false;
    const Kernels* m_pKernels = &kernels();
};

} // namespace tovix
