#include "DllEngine.h"

#include "ComFailure.h"
#include "RegistrationRecord.h"
#include "platform/AudioMediaType.h"

#include <propsys.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <iostream>
#include <utility>

namespace tovix::render {
namespace {

constexpr PROPERTYKEY endpointGuidKey{{0x1DA5D803, 0xD492, 0x4EDD, {0x8C, 0x23, 0xE0, 0xC0, 0xFF, 0xEE, 0x7F, 0x0E}},
                                      4};
constexpr float crossfadeSeconds = 0.01F;

ComReference<IAudioMediaType> mediaType(const EngineFormat& format, std::uint32_t channels, std::uint32_t mask) {
    const UNCOMPRESSEDAUDIOFORMAT record{floatSubtype, channels, 4, 32, static_cast<float>(format.sampleRateHz),
                                         mask};
    IAudioMediaType* pType = nullptr;
    requireSuccess(CreateAudioMediaTypeFromUncompressedAudioFormat(&record, &pType),
                   "the format cannot be described");
    return ComReference<IAudioMediaType>(pType);
}

/// The properties of an endpoint that exists for this render only.
ComReference<IPropertyStore> endpointProperties() {
    void* pStore = nullptr;
    requireSuccess(::PSCreateMemoryPropertyStore(IID_IPropertyStore, &pStore), "no property store can be made");
    ComReference<IPropertyStore> store(static_cast<IPropertyStore*>(pStore));
    wchar_t text[] = L"{00000000-0000-0000-0000-000000000000}";
    // Borrowed: the store copies the value.
    PROPVARIANT value{};
    value.vt = VT_LPWSTR;
    value.pwszVal = text;
    requireSuccess(store->SetValue(endpointGuidKey, value), "the endpoint's identity cannot be set");
    return store;
}

template <class Interface> ComReference<Interface> requireInterface(IUnknown& effect, REFIID iid) {
    auto found = queryInterface<Interface>(effect, iid);
    if (!found) {
        throw RenderError(ExitStatus::failure, "the effect lacks an interface of an audio processing object.");
    }
    return found;
}

double millisecondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

} // namespace

DllEngine::DllEngine(EngineChoice choice) : m_choice(std::move(choice)) {}

DllEngine::~DllEngine() {
    close();
}

void DllEngine::open(const EngineFormat& format, std::string_view settings) {
    close();
    m_format = format;
    m_crossfadeFrames = static_cast<std::uint32_t>(static_cast<float>(format.sampleRateHz) * crossfadeSeconds);
    m_settings.emplace(settings);
    m_knownText = settings;
    m_module.emplace(m_choice);
    const auto effect = m_module->createEffect();
    m_apo = requireInterface<IAudioProcessingObject>(*effect, IID_IAudioProcessingObject);
    m_rt = requireInterface<IAudioProcessingObjectRT>(*effect, IID_IAudioProcessingObjectRT);
    m_config =
        requireInterface<IAudioProcessingObjectConfiguration>(*effect, IID_IAudioProcessingObjectConfiguration);
    initialize();
    const auto input = mediaType(format, format.inputChannels, format.channelMask);
    const auto output = mediaType(format, format.outputChannels, format.channelMask);
    negotiate(*input, *output);
    lock(*output);
}

void DllEngine::initialize() {
    const auto store = endpointProperties();
    APOInitSystemEffects data{};
    data.APOInit = {sizeof data, effectClassId};
    data.pAPOEndpointProperties = store.get();
    requireSuccess(m_apo->Initialize(sizeof data, reinterpret_cast<BYTE*>(&data)),
                   "the effect cannot be initialized");
}

void DllEngine::negotiate(IAudioMediaType& input, IAudioMediaType& output) {
    IAudioMediaType* pAccepted = nullptr;
    requireSuccess(m_apo->IsInputFormatSupported(&output, &input, &pAccepted), "the effect refuses the format");
    const ComReference<IAudioMediaType> accepted(pAccepted);
    UNCOMPRESSEDAUDIOFORMAT format{};
    requireSuccess(accepted->GetUncompressedAudioFormat(&format), "the effect's proposal cannot be read");
    if (format.fFramesPerSecond != static_cast<float>(m_format.sampleRateHz) ||
        format.dwSamplesPerFrame > m_format.inputChannels) {
        throw RenderError(ExitStatus::unsupportedFormat, "the effect proposes a format that this file cannot have.");
    }
    m_fedChannels = format.dwSamplesPerFrame;
}

void DllEngine::lock(IAudioMediaType& output) {
    const auto input = mediaType(m_format, m_fedChannels, m_format.channelMask);
    APO_CONNECTION_DESCRIPTOR source{APO_CONNECTION_BUFFER_TYPE_EXTERNAL, 0, m_format.blockFrames, input.get(),
                                     APO_CONNECTION_DESCRIPTOR_SIGNATURE};
    APO_CONNECTION_DESCRIPTOR target{APO_CONNECTION_BUFFER_TYPE_EXTERNAL, 0, m_format.blockFrames, &output,
                                     APO_CONNECTION_DESCRIPTOR_SIGNATURE};
    APO_CONNECTION_DESCRIPTOR* pSource = &source;
    APO_CONNECTION_DESCRIPTOR* pTarget = &target;
    const auto start = std::chrono::steady_clock::now();
    requireSuccess(m_config->LockForProcess(1, &pSource, 1, &pTarget), "the effect cannot be locked");
    m_statistics.firstBuildMs = millisecondsSince(start);
    m_locked = true;
    m_input.resize(std::size_t{m_format.blockFrames} * m_fedChannels);
}

void DllEngine::close() noexcept {
    if (m_locked) {
        m_config->UnlockForProcess();
    }
    m_locked = false;
    m_config.reset();
    m_rt.reset();
    m_apo.reset();
    if (m_module && !m_module->canUnload()) {
        std::cerr << "tovix-render: the effect's library says that it is still in use.\n";
    }
    m_module.reset();
    m_settings.reset();
    m_announced.reset();
    m_foreignText = false;
    m_fadeFramesLeft = 0;
    m_framesPlayed = 0;
    m_statistics = {};
}

void DllEngine::changeSettings(std::string_view settings) {
    m_announced = settings;
}

void DllEngine::attend() {
    if (m_announced && m_fadeFramesLeft == 0) {
        announce(*std::exchange(m_announced, std::nullopt));
    }
    if (m_choice.watch) {
        watchSettings();
    }
}

void DllEngine::announce(const std::string& settings) {
    constexpr DWORD takingLimitMs = 5000;
    constexpr double buildTimes = 10.0;
    constexpr double leastMs = 200.0;
    m_settings->announce(settings);
    m_knownText = settings;
    for (DWORD waitedMs = 0; !m_settings->announcementTaken(); ++waitedMs) {
        if (waitedMs == takingLimitMs) {
            throw RenderError(ExitStatus::failure, "the effect does not take the change of settings.");
        }
        ::Sleep(1);
    }
    ::Sleep(static_cast<DWORD>(std::max(leastMs, buildTimes * m_statistics.firstBuildMs)));
    m_fadeFramesLeft = m_crossfadeFrames;
    ++m_statistics.rebuildCount;
}

void DllEngine::watchSettings() {
    const std::string text = m_settings->text();
    if (text == m_knownText) {
        return;
    }
    m_knownText = text;
    m_foreignText = true;
    std::string oneLine = text;
    std::replace(oneLine.begin(), oneLine.end(), '\n', '|');
    std::cerr << "\nat " << static_cast<double>(m_framesPlayed) / m_format.sampleRateHz << " s: " << oneLine << '\n';
}

void DllEngine::process(const float* input, float* output) noexcept {
    const std::uint32_t frames = m_format.blockFrames;
    if (m_fedChannels == m_format.inputChannels) {
        std::memcpy(m_input.data(), input, m_input.size() * sizeof(float));
    } else {
        for (std::size_t f = 0; f < frames; ++f) {
            std::copy_n(input + f * m_format.inputChannels, m_fedChannels, m_input.data() + f * m_fedChannels);
        }
    }
    APO_CONNECTION_PROPERTY source{reinterpret_cast<UINT_PTR>(m_input.data()), frames, BUFFER_VALID,
                                   APO_CONNECTION_PROPERTY_SIGNATURE};
    APO_CONNECTION_PROPERTY target{reinterpret_cast<UINT_PTR>(output), 0, BUFFER_INVALID,
                                   APO_CONNECTION_PROPERTY_SIGNATURE};
    APO_CONNECTION_PROPERTY* pSource = &source;
    APO_CONNECTION_PROPERTY* pTarget = &target;
    m_rt->APOProcess(1, &pSource, 1, &pTarget);
    m_fadeFramesLeft -= std::min(m_fadeFramesLeft, frames);
    m_framesPlayed += frames;
}

bool DllEngine::isSettled() const noexcept {
    return m_fadeFramesLeft == 0 && !m_announced && !m_foreignText;
}

std::string DllEngine::description() const {
    return m_module ? m_module->description() : "";
}

} // namespace tovix::render
