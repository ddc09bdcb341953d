#include "render/engine/DllEngine.h"

#include "apo/RegistrationRecord.h"
#include "chain/ChainSlots.h"
#include "platform/AudioMediaType.h"
#include "render/Interruption.h"
#include "render/engine/ComFailure.h"

#include <propsys.h>

#include <algorithm>
#include <chrono>
#include <iostream>
#include <utility>

namespace tovix::render {
namespace {

using Clock = std::chrono::steady_clock;

ComReference<IAudioMediaType> mediaType(std::uint32_t sampleRateHz, std::uint32_t channels, std::uint32_t mask) {
    const UNCOMPRESSEDAUDIOFORMAT record{floatSubtype, channels, 4, 32, static_cast<float>(sampleRateHz), mask};
    IAudioMediaType* pType = nullptr;
    const HRESULT result = CreateAudioMediaTypeFromUncompressedAudioFormat(&record, &pType);
    return requireObject<IAudioMediaType>(result, pType, "the format cannot be described");
}

/// The properties of an endpoint that exists for this render only.
ComReference<IPropertyStore> endpointProperties() {
    void* pStore = nullptr;
    const HRESULT result = ::PSCreateMemoryPropertyStore(IID_IPropertyStore, &pStore);
    auto store = requireObject<IPropertyStore>(result, pStore, "no property store can be made");
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

double millisecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

/// How long to wait for the effect's build of these settings: far longer than the same build takes here.
Clock::duration buildPatience(const EngineFormat& format, const std::string& settings) {
    constexpr double buildTimes = 10.0;
    constexpr double leastMs = 200.0;
    const auto trial = makeReplayEngine();
    trial->open(format, settings);
    const double buildMs = trial->statistics().firstBuildMs;
    return std::chrono::duration_cast<Clock::duration>(
        std::chrono::duration<double, std::milli>(std::max(leastMs, buildTimes * buildMs)));
}

} // namespace

DllEngine::DllEngine(EngineChoice choice) : m_choice(std::move(choice)) {}

DllEngine::~DllEngine() {
    release();
}

void DllEngine::open(const EngineFormat& format, std::string_view settings) {
    close();
    m_format = format;
    m_crossfadeFrames = crossfadeFramesAt(static_cast<float>(format.sampleRateHz));
    m_statistics = {};
    // Before the settings, which are not touched for a library that is none.
    m_module.emplace(m_choice);
    m_description = m_module->description();
    m_settings.emplace(settings, m_choice.announces);
    m_knownText = settings;
    const auto effect = m_module->createEffect();
    m_apo = requireInterface<IAudioProcessingObject>(*effect, IID_IAudioProcessingObject);
    m_rt = requireInterface<IAudioProcessingObjectRT>(*effect, IID_IAudioProcessingObjectRT);
    m_config =
        requireInterface<IAudioProcessingObjectConfiguration>(*effect, IID_IAudioProcessingObjectConfiguration);
    initialize();
    const auto requested = mediaType(format.sampleRateHz, format.fileChannels, format.fileMask);
    const auto output = mediaType(format.sampleRateHz, format.outputChannels, format.outputMask);
    lock(*negotiate(*requested, *output), *output);
    const bool inPlace = format.inputChannels == format.outputChannels;
    m_input.resize(inPlace ? 0 : std::size_t{format.blockFrames} * format.inputChannels);
}

void DllEngine::initialize() {
    const auto store = endpointProperties();
    APOInitSystemEffects data{};
    data.APOInit = {sizeof data, effectClassId};
    data.pAPOEndpointProperties = store.get();
    requireSuccess(m_apo->Initialize(sizeof data, reinterpret_cast<BYTE*>(&data)),
                   "the effect cannot be initialized");
}

ComReference<IAudioMediaType> DllEngine::negotiate(IAudioMediaType& requested, IAudioMediaType& output) {
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

void DllEngine::lock(IAudioMediaType& input, IAudioMediaType& output) {
    APO_CONNECTION_DESCRIPTOR source{APO_CONNECTION_BUFFER_TYPE_EXTERNAL, 0, m_format.blockFrames, &input,
                                     APO_CONNECTION_DESCRIPTOR_SIGNATURE};
    APO_CONNECTION_DESCRIPTOR target{APO_CONNECTION_BUFFER_TYPE_EXTERNAL, 0, m_format.blockFrames, &output,
                                     APO_CONNECTION_DESCRIPTOR_SIGNATURE};
    APO_CONNECTION_DESCRIPTOR* pSource = &source;
    APO_CONNECTION_DESCRIPTOR* pTarget = &target;
    const auto start = Clock::now();
    requireSuccess(m_config->LockForProcess(1, &pSource, 1, &pTarget), "the effect cannot be locked");
    m_statistics.firstBuildMs = millisecondsSince(start);
    m_locked = true;
}

void DllEngine::close() {
    if (!release()) {
        throw RenderError(ExitStatus::failure, "the effect's library says that it is still in use.");
    }
}

bool DllEngine::release() noexcept {
    if (m_locked) {
        m_config->UnlockForProcess();
    }
    m_locked = false;
    m_config.reset();
    m_rt.reset();
    m_apo.reset();
    const bool free = !m_module || m_module->canUnload();
    m_module.reset();
    m_settings.reset();
    m_announced.reset();
    m_foreignText = false;
    m_fadeFramesLeft = 0;
    m_framesPlayed = 0;
    return free;
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
    const auto patience = buildPatience(m_format, settings);
    m_settings->announce(settings);
    m_knownText = settings;
    awaitTaking();
    Interruption::sleepUntil(Clock::now() + patience);
    m_fadeFramesLeft = m_crossfadeFrames;
    ++m_statistics.rebuildCount;
}

void DllEngine::awaitTaking() {
    constexpr std::chrono::seconds limit(5);
    const auto end = Clock::now() + limit;
    while (!m_settings->announcementTaken()) {
        Interruption::check();
        if (Clock::now() >= end) {
            throw RenderError(ExitStatus::failure, "the effect does not take the change of settings.");
        }
        ::Sleep(1);
    }
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
    float* const played = m_input.empty() ? output : m_input.data();
    std::copy_n(input, std::size_t{frames} * m_format.inputChannels, played);
    APO_CONNECTION_PROPERTY source{reinterpret_cast<UINT_PTR>(played), frames, BUFFER_VALID,
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

} // namespace tovix::render
