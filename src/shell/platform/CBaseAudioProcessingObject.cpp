#include "platform/CBaseAudioProcessingObject.h"

#include "platform/AudioMediaType.h"
#include "platform/ComEdge.h"
#include "text/Limits.h"

#include <objbase.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <mutex>
#include <span>

namespace tovix {
namespace {

constexpr DWORD floatBytes = 4;
constexpr DWORD floatBits = 32;
constexpr float minRateHz = minSampleRateHz;
constexpr float maxRateHz = maxSampleRateHz;

/// Sets `field` and returns whether that changed it.
template <class T> bool correct(T& field, const T& wanted) noexcept {
    const bool changed = !(field == wanted);
    field = wanted;
    return changed;
}

/// The nearest rate in range; the lowest where it is not a number.
float correctedRate(float rateHz) noexcept {
    return rateHz >= minRateHz ? std::min(rateHz, maxRateHz) : minRateHz;
}

bool haveFormats(std::span<APO_CONNECTION_DESCRIPTOR* const> connections) noexcept {
    return std::all_of(connections.begin(), connections.end(), [](const auto* pConnection) {
        return pConnection != nullptr && pConnection->pFormat != nullptr;
    });
}

} // namespace

void RealtimeEntry::APOProcess(UINT32 inputCount, APO_CONNECTION_PROPERTY** ppInputs, UINT32 outputCount,
                               APO_CONNECTION_PROPERTY** ppOutputs) noexcept {
    static_cast<CBaseAudioProcessingObject*>(this)->processConnections(inputCount, ppInputs, outputCount, ppOutputs);
}

UINT32 RealtimeEntry::CalcInputFrames(UINT32 outputFrames) noexcept {
    return outputFrames;
}

UINT32 RealtimeEntry::CalcOutputFrames(UINT32 inputFrames) noexcept {
    return inputFrames;
}

HRESULT CBaseAudioProcessingObject::GetRegistrationProperties(APO_REG_PROPERTIES** ppProperties) noexcept {
    if (ppProperties == nullptr) {
        return E_POINTER;
    }
    const std::size_t listBytes = std::max<std::size_t>(m_registration.u32NumAPOInterfaces, 1) * sizeof(IID);
    const std::size_t bytes = offsetof(APO_REG_PROPERTIES, iidAPOInterfaceList) + listBytes;
    *ppProperties = static_cast<APO_REG_PROPERTIES*>(CoTaskMemAlloc(bytes));
    if (*ppProperties == nullptr) {
        return E_OUTOFMEMORY;
    }
    std::memcpy(*ppProperties, &m_registration, bytes);
    return S_OK;
}

HRESULT CBaseAudioProcessingObject::IsInputFormatSupported(IAudioMediaType* pOppositeFormat,
                                                           IAudioMediaType* pRequestedInputFormat,
                                                           IAudioMediaType** ppSupportedInputFormat) noexcept {
    return atComEdge([&] { return negotiate(pOppositeFormat, pRequestedInputFormat, ppSupportedInputFormat); });
}

HRESULT CBaseAudioProcessingObject::IsOutputFormatSupported(IAudioMediaType* pOppositeFormat,
                                                            IAudioMediaType* pRequestedOutputFormat,
                                                            IAudioMediaType** ppSupportedOutputFormat) noexcept {
    return atComEdge([&] { return negotiate(pOppositeFormat, pRequestedOutputFormat, ppSupportedOutputFormat); });
}

HRESULT CBaseAudioProcessingObject::negotiate(IAudioMediaType* pOpposite, IAudioMediaType* pRequested,
                                              IAudioMediaType** ppSupported) {
    if (ppSupported != nullptr) {
        *ppSupported = nullptr;
    }
    if (pRequested == nullptr || ppSupported == nullptr) {
        return E_POINTER;
    }
    UNCOMPRESSEDAUDIOFORMAT opposite{};
    if (pOpposite != nullptr) {
        if (const HRESULT hr = pOpposite->GetUncompressedAudioFormat(&opposite); FAILED(hr)) {
            return hr;
        }
        if (ValidateDefaultFormat(opposite) != S_OK) {
            return APOERR_FORMAT_NOT_SUPPORTED;
        }
    }
    UNCOMPRESSEDAUDIOFORMAT format{};
    if (const HRESULT hr = pRequested->GetUncompressedAudioFormat(&format); FAILED(hr)) {
        return hr;
    }
    bool changed = ValidateDefaultFormat(format) != S_OK;
    changed |= pOpposite != nullptr && applyMatchFlags(opposite, format);
    if (changed) {
        const HRESULT hr = CreateAudioMediaTypeFromUncompressedAudioFormat(&format, ppSupported);
        return FAILED(hr) ? hr : S_FALSE;
    }
    pRequested->AddRef();
    *ppSupported = pRequested;
    return S_OK;
}

bool CBaseAudioProcessingObject::applyMatchFlags(const UNCOMPRESSEDAUDIOFORMAT& opposite,
                                                 UNCOMPRESSEDAUDIOFORMAT& format) const noexcept {
    bool changed = false;
    if ((m_registration.Flags & APO_FLAG_SAMPLESPERFRAME_MUST_MATCH) != 0 &&
        correct(format.dwSamplesPerFrame, opposite.dwSamplesPerFrame)) {
        format.dwChannelMask = opposite.dwChannelMask;
        changed = true;
    }
    if ((m_registration.Flags & APO_FLAG_BITSPERSAMPLE_MUST_MATCH) != 0) {
        changed |= correct(format.dwValidBitsPerSample, opposite.dwValidBitsPerSample);
        changed |= correct(format.dwBytesPerSampleContainer, opposite.dwBytesPerSampleContainer);
    }
    if ((m_registration.Flags & APO_FLAG_FRAMESPERSECOND_MUST_MATCH) != 0) {
        changed |= correct(format.fFramesPerSecond, opposite.fFramesPerSecond);
    }
    return changed;
}

HRESULT CBaseAudioProcessingObject::GetInputChannelCount(UINT32* pChannelCount) noexcept {
    if (!m_isInitialized) {
        return APOERR_NOT_INITIALIZED;
    }
    if (pChannelCount == nullptr) {
        return E_POINTER;
    }
    *pChannelCount = m_samplesPerFrame;
    return S_OK;
}

HRESULT CBaseAudioProcessingObject::LockForProcess(UINT32 inputCount, APO_CONNECTION_DESCRIPTOR** ppInputs,
                                                   UINT32 outputCount,
                                                   APO_CONNECTION_DESCRIPTOR** ppOutputs) noexcept {
    if (inputCount < m_registration.u32MinInputConnections || inputCount > m_registration.u32MaxInputConnections ||
        outputCount < m_registration.u32MinOutputConnections ||
        outputCount > m_registration.u32MaxOutputConnections) {
        return APOERR_NUM_CONNECTIONS_INVALID;
    }
    if (ppInputs == nullptr || ppOutputs == nullptr || !haveFormats({ppInputs, inputCount}) ||
        !haveFormats({ppOutputs, outputCount})) {
        return E_POINTER;
    }
    return atComEdge([&] {
        const std::lock_guard<CriticalSection> guard(m_lock);
        if (m_isLocked) {
            return APOERR_APO_LOCKED;
        }
        HRESULT hr = checkFormats(*ppInputs[0], *ppOutputs[0]);
        if (SUCCEEDED(hr)) {
            hr = ValidateConnections(inputCount, ppInputs, outputCount, ppOutputs);
        }
        m_isLocked = SUCCEEDED(hr);
        return hr;
    });
}

HRESULT CBaseAudioProcessingObject::checkFormats(const APO_CONNECTION_DESCRIPTOR& input,
                                                 const APO_CONNECTION_DESCRIPTOR& output) {
    UNCOMPRESSEDAUDIOFORMAT in{};
    UNCOMPRESSEDAUDIOFORMAT out{};
    if (FAILED(input.pFormat->GetUncompressedAudioFormat(&in)) ||
        FAILED(output.pFormat->GetUncompressedAudioFormat(&out)) || ValidateDefaultFormat(in) != S_OK ||
        ValidateDefaultFormat(out) != S_OK || in.fFramesPerSecond != out.fFramesPerSecond) {
        return APOERR_INVALID_CONNECTION_FORMAT;
    }
    m_samplesPerFrame = in.dwSamplesPerFrame;
    return S_OK;
}

HRESULT CBaseAudioProcessingObject::UnlockForProcess() noexcept {
    const std::lock_guard<CriticalSection> guard(m_lock);
    return m_isLocked.exchange(false) ? S_OK : APOERR_ALREADY_UNLOCKED;
}

HRESULT CBaseAudioProcessingObject::ValidateConnections(UINT32 /*inputCount*/,
                                                        APO_CONNECTION_DESCRIPTOR** /*ppInputs*/,
                                                        UINT32 /*outputCount*/,
                                                        APO_CONNECTION_DESCRIPTOR** /*ppOutputs*/) noexcept {
    return S_OK;
}

HRESULT CBaseAudioProcessingObject::ValidateDefaultFormat(UNCOMPRESSEDAUDIOFORMAT& format) noexcept {
    bool changed = correct(format.guidFormatType, floatSubtype);
    changed |= correct(format.dwSamplesPerFrame, std::clamp<DWORD>(format.dwSamplesPerFrame, 1, maxChannelCount));
    changed |= correct(format.dwBytesPerSampleContainer, floatBytes);
    changed |= correct(format.dwValidBitsPerSample, floatBits);
    changed |= correct(format.fFramesPerSecond, correctedRate(format.fFramesPerSecond));
    return changed ? S_FALSE : S_OK;
}

} // namespace tovix
