#include "render/engine/EffectStream.h"

#include "apo/RegistrationRecord.h"
#include "platform/AudioMediaType.h"
#include "render/engine/EffectModule.h"

#include <algorithm>
#include <chrono>

namespace tovix::render {
namespace {

using Clock = std::chrono::steady_clock;

ComReference<IAudioMediaType> mediaType(std::uint32_t sampleRateHz, std::uint32_t channels, std::uint32_t mask) {
    const UNCOMPRESSEDAUDIOFORMAT record{floatSubtype, channels, 4, 32, static_cast<float>(sampleRateHz), mask};
    IAudioMediaType* pType = nullptr;
    const HRESULT result = CreateAudioMediaTypeFromUncompressedAudioFormat(&record, &pType);
    return requireObject<IAudioMediaType>(result, pType, "the format cannot be described");
}

template <class Interface> ComReference<Interface> requireInterface(IUnknown& effect, REFIID iid) {
    auto found = queryInterface<Interface>(effect, iid);
    if (!found) {
        throw RenderError(ExitStatus::failure, "the effect lacks an interface of an audio processing object.");
    }
    return found;
}

} // namespace

EffectStream::EffectStream(IUnknown& effect, const DeviceProperties& device, const EngineFormat& format)
    : m_format(format), m_apo(requireInterface<IAudioProcessingObject>(effect, IID_IAudioProcessingObject)),
      m_rt(requireInterface<IAudioProcessingObjectRT>(effect, IID_IAudioProcessingObjectRT)),
      m_config(
          requireInterface<IAudioProcessingObjectConfiguration>(effect, IID_IAudioProcessingObjectConfiguration)) {
    initialize(device);
    const auto requested = mediaType(format.sampleRateHz, format.fileChannels, format.fileMask);
    const auto output = mediaType(format.sampleRateHz, format.outputChannels, format.outputMask);
    const bool inPlace = format.inputChannels == format.outputChannels;
    m_input.resize(inPlace ? 0 : std::size_t{format.blockFrames} * format.inputChannels);
    lock(*negotiate(*requested, *output), *output);
}

EffectStream::~EffectStream() {
    m_config->UnlockForProcess();
}

void EffectStream::initialize(const DeviceProperties& device) {
    APOInitSystemEffects data{};
    data.APOInit = {sizeof data, effectClassId};
    data.pAPOEndpointProperties = device.endpoint();
    data.pAPOSystemEffectsProperties = device.effects();
    requireSuccess(m_apo->Initialize(sizeof data, reinterpret_cast<BYTE*>(&data)),
                   "the effect cannot be initialized");
}

ComReference<IAudioMediaType> EffectStream::negotiate(IAudioMediaType& requested, IAudioMediaType& output) {
    IAudioMediaType* pAccepted = nullptr;
    const HRESULT result = m_apo->IsInputFormatSupported(&output, &requested, &pAccepted);
    auto accepted = requireObject<IAudioMediaType>(result, pAccepted, "the effect refuses the format");
    UNCOMPRESSEDAUDIOFORMAT format{};
    requireSuccess(accepted->GetUncompressedAudioFormat(&format), "the effect's proposal cannot be read");
    if (format.dwSamplesPerFrame != m_format.inputChannels ||
        format.fFramesPerSecond != static_cast<float>(m_format.sampleRateHz)) {
        throw RenderError(ExitStatus::unsupportedFormat, "the effect proposes a format that this sound cannot have.");
    }
    return accepted;
}

void EffectStream::lock(IAudioMediaType& input, IAudioMediaType& output) {
    APO_CONNECTION_DESCRIPTOR source{APO_CONNECTION_BUFFER_TYPE_EXTERNAL, 0, m_format.blockFrames, &input,
                                     APO_CONNECTION_DESCRIPTOR_SIGNATURE};
    APO_CONNECTION_DESCRIPTOR target{APO_CONNECTION_BUFFER_TYPE_EXTERNAL, 0, m_format.blockFrames, &output,
                                     APO_CONNECTION_DESCRIPTOR_SIGNATURE};
    APO_CONNECTION_DESCRIPTOR* pSource = &source;
    APO_CONNECTION_DESCRIPTOR* pTarget = &target;
    const auto start = Clock::now();
    requireSuccess(m_config->LockForProcess(1, &pSource, 1, &pTarget), "the effect cannot be locked");
    m_lockMs = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

void EffectStream::process(const float* input, float* output) noexcept {
    const std::uint32_t frames = m_format.blockFrames;
    float* const played = m_input.empty() ? output : m_input.data();
    std::copy_n(input, std::size_t{frames} * m_format.inputChannels, played);
    APO_CONNECTION_PROPERTY source{reinterpret_cast<UINT_PTR>(played), frames, BUFFER_VALID,
                                   APO_CONNECTION_PROPERTY_SIGNATURE};
    APO_CONNECTION_PROPERTY target{reinterpret_cast<UINT_PTR>(output), 0, BUFFER_INVALID,
                                   APO_CONNECTION_PROPERTY_SIGNATURE};
    APO_CONNECTION_PROPERTY* pSource = &source;
    APO_CONNECTION_PROPERTY* pTarget = &target;
    m_rt->APOProcess(1, &pSource, 1, &pTarget);
}

} // namespace tovix::render
