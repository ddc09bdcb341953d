#pragma once

#include "platform/ApoInterfaces.h"
#include "platform/ComEdge.h"
#include "render/engine/DeviceProperties.h"
#include "render/engine/Engine.h"

#include <vector>

namespace tovix::render {

/// One effect object, locked for one stream, as the audio engine treats it: initialized, negotiated with, locked,
/// given blocks, unlocked and released. As the engine does with an effect that may work in place, it hands out one
/// buffer for both sides where they have as many channels.
class EffectStream {
public:
    /// [control] Throws RenderError when the effect refuses.
    EffectStream(IUnknown& effect, const DeviceProperties& device, const EngineFormat& format);
    EffectStream(const EffectStream&) = delete;
    EffectStream& operator=(const EffectStream&) = delete;
    /// [control]
    ~EffectStream();

    /// [control] How long the effect took to be locked; that includes the build of its first chain.
    [[nodiscard]] double lockMs() const noexcept { return m_lockMs; }

    /// [audio] One whole block of interleaved samples.
    void process(const float* input, float* output) noexcept;

private:
    void initialize(const DeviceProperties& device);
    /// The format that the effect takes: the one that is asked for, or the effect's proposal. Throws RenderError when
    /// that is not what the sound is fed in.
    ComReference<IAudioMediaType> negotiate(IAudioMediaType& requested, IAudioMediaType& output);
    void lock(IAudioMediaType& input, IAudioMediaType& output);

    EngineFormat m_format;
    ComReference<IAudioProcessingObject> m_apo;
    ComReference<IAudioProcessingObjectRT> m_rt;
    ComReference<IAudioProcessingObjectConfiguration> m_config;
    double m_lockMs = 0.0;
    /// A copy of the input that the effect may write to; empty where it works in the output.
    std::vector<float> m_input;
};

} // namespace tovix::render
