#include "apo/Tovix.h"

#include "apo/EngineBlock.h"
#include "apo/FormatNegotiation.h"
#include "apo/RegistrationRecord.h"
#include "apo/TovixLog.h"
#include "platform/ComEdge.h"
#include "system/GuardedCall.h"
#include "system/RegistryUtils.h"

#include <propsys.h>

#include <cstring>

namespace tovix {

Tovix::Tovix(IUnknown* pOuter)
    : CBaseAudioProcessingObject(registrationRecord),
      // The non-delegating interface has IUnknown's three slots under other names.
      m_pControlling(pOuter != nullptr ? pOuter
                                       : reinterpret_cast<IUnknown*>(static_cast<INonDelegatingUnknown*>(this))) {
    logOf("Tovix::Tovix", this).info("CALLED");
}

Tovix::~Tovix() {
    m_previousEffect.release();
    logOf("Tovix::~Tovix", this).info("CALLED");
}

HRESULT Tovix::QueryInterface(REFIID riid, void** ppv) noexcept {
    return m_pControlling->QueryInterface(riid, ppv);
}

ULONG Tovix::AddRef() noexcept {
    return m_pControlling->AddRef();
}

ULONG Tovix::Release() noexcept {
    return m_pControlling->Release();
}

HRESULT Tovix::NonDelegatingQueryInterface(REFIID riid, void** ppv) noexcept {
    if (ppv == nullptr) {
        return E_POINTER;
    }
    *ppv = nullptr;
    if (IsEqualIID(riid, IID_IUnknown)) {
        *ppv = static_cast<INonDelegatingUnknown*>(this);
        NonDelegatingAddRef();
        return S_OK;
    }
    if (IsEqualIID(riid, IID_IAudioProcessingObject)) {
        *ppv = static_cast<IAudioProcessingObject*>(this);
    } else if (IsEqualIID(riid, IID_IAudioProcessingObjectRT)) {
        *ppv = static_cast<IAudioProcessingObjectRT*>(this);
    } else if (IsEqualIID(riid, IID_IAudioProcessingObjectConfiguration)) {
        *ppv = static_cast<IAudioProcessingObjectConfiguration*>(this);
    } else if (IsEqualIID(riid, IID_IAudioSystemEffects)) {
        *ppv = static_cast<IAudioSystemEffects*>(this);
    } else {
        return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
}

ULONG Tovix::NonDelegatingAddRef() noexcept {
    return ++m_references;
}

ULONG Tovix::NonDelegatingRelease() noexcept {
    const ULONG left = --m_references;
    if (left == 0) {
        const ModuleUse use;
        delete this;
    }
    return left;
}

HRESULT Tovix::GetLatency(HNSTIME* pTime) noexcept {
    if (pTime == nullptr) {
        return E_POINTER;
    }
    if (!isLocked()) {
        return APOERR_ALREADY_UNLOCKED;
    }
    *pTime = 0;
    if (m_previousEffect.present()) {
        static_cast<void>(guardedResult([&] { return m_previousEffect.apo().GetLatency(pTime); }));
    }
    return S_OK;
}

HRESULT Tovix::Initialize(UINT32 cbDataSize, BYTE* pbyData) noexcept {
    // Which of the two codes goes with which mistake is deliberate.
    if (pbyData == nullptr && cbDataSize != 0) {
        return E_INVALIDARG;
    }
    if (pbyData != nullptr && cbDataSize == 0) {
        return E_POINTER;
    }
    APOInitSystemEffects data{};
    if (cbDataSize != sizeof data) {
        logOf("Tovix::Initialize", this).error("cbDataSize size IS incorrect.");
        return E_INVALIDARG;
    }
    std::memcpy(&data, pbyData, sizeof data);
    return atComEdge([&] { return initialize(data); });
}

HRESULT Tovix::initialize(const APOInitSystemEffects& data) {
    releasePreviousEffect();
    m_previousEffectSearch.end();
    logClassId(data.APOInit.clsid);
    m_effectManager.switches().switchA = false;
    PropertyValue endpoint;
    const HRESULT hr = data.pAPOEndpointProperties != nullptr
                           ? data.pAPOEndpointProperties->GetValue(endpointGuidKey, endpoint.receive())
                           : E_INVALIDARG;
    if (FAILED(hr)) {
        logOf("Tovix::Initialize", this).error("Failed to read endpoint GUID");
        return hr;
    }
    const std::wstring endpointGuid = endpoint.text();
    logOf("Tovix::Initialize", this).info("Endpoint GUID: ", endpointGuid);
    m_effectManager.switches().switchB = true;
    m_previousEffectSearch.begin(data.pAPOEndpointProperties, data.pAPOSystemEffectsProperties);
    return S_OK;
}

void Tovix::logClassId(REFCLSID classId) const {
    if (!logEnabled(LogLevel::Info)) {
        return;
    }
    try {
        const std::wstring text = classIdText(classId);
        logOf("Tovix::Initialize", this).info("APO GUID: ", text);
    } catch (...) {
        // No memory counts as the conversion's failure: a line of the log must not fail the initialization.
        logOf("Tovix::Initialize", this).error("Failed to convert APO GUID to text");
    }
}

HRESULT Tovix::IsInputFormatSupported(IAudioMediaType* pOppositeFormat, IAudioMediaType* pRequestedInputFormat,
                                      IAudioMediaType** ppSupportedInputFormat) noexcept {
    const FunctionLog log = logOf("Tovix::IsInputFormatSupported", this);
    if (ppSupportedInputFormat != nullptr) {
        *ppSupportedInputFormat = nullptr;
    }
    if (pRequestedInputFormat == nullptr || ppSupportedInputFormat == nullptr) {
        log.error("wrong arguments");
        return E_POINTER;
    }
    FormatNegotiation negotiation({pOppositeFormat, pRequestedInputFormat, ppSupportedInputFormat}, log);
    return atComEdge([&] { return negotiateInput(negotiation); });
}

HRESULT Tovix::negotiateInput(FormatNegotiation& negotiation) {
    if (const HRESULT hr = negotiation.read(); FAILED(hr)) {
        return hr;
    }
    findPreviousEffect();
    if (m_previousEffect.present() && negotiation.hasOpposite()) {
        if (const auto decision = negotiation.askPreviousEffect(m_previousEffect.apo(), *this)) {
            return negotiation.report(*decision);
        }
        releasePreviousEffect();
    }
    return negotiation.report(negotiation.askBase(*this));
}

HRESULT Tovix::LockForProcess(UINT32 inputCount, APO_CONNECTION_DESCRIPTOR** ppInputs, UINT32 outputCount,
                              APO_CONNECTION_DESCRIPTOR** ppOutputs) noexcept {
    StreamLock stream({inputCount, ppInputs, outputCount, ppOutputs}, logOf("Tovix::LockForProcess", this));
    return atComEdge([&] { return lock(stream); });
}

HRESULT Tovix::lock(StreamLock& stream) {
    if (!stream.isComplete()) {
        return stream.lockBase(*this);
    }
    if (const HRESULT hr = stream.read(); FAILED(hr)) {
        return hr;
    }
    findPreviousEffect();
    const bool hasPreviousEffect = m_previousEffect.present();
    const bool previousLocked = hasPreviousEffect && stream.lockPreviousEffect(m_previousEffect.config());
    const HRESULT hr = stream.lockBase(*this);
    if (SUCCEEDED(hr)) {
        m_previousEffect.setLocked(previousLocked);
        m_channels = stream.channels(hasPreviousEffect);
        m_effectManager.initializeManager(stream.streamFormat(hasPreviousEffect));
    } else if (previousLocked && m_previousEffect.present() && !m_previousEffect.isLocked()) {
        // A lock that fails leaves everything as it was, the previous effect included, unless that has taken itself
        // out.
        static_cast<void>(m_previousEffect.unlock());
    }
    return hr;
}

HRESULT Tovix::UnlockForProcess() noexcept {
    if (m_previousEffect.awaitsUnlock()) {
        if (const HRESULT hr = m_previousEffect.unlock(); FAILED(hr)) {
            logOf("Tovix::UnlockForProcess", this).warning("Tovix::UnlockForProcess() for old apo FAILED. hr=", hr);
        }
    }
    const HRESULT hr = CBaseAudioProcessingObject::UnlockForProcess();
    m_previousEffect.releaseRetired();
    return hr;
}

void Tovix::findPreviousEffect() noexcept {
    if (m_previousEffectSearch.isDue() && !isLocked() && !m_previousEffect.present() &&
        m_effectManager.readPreviousEffectWish()) {
        m_previousEffectSearch.fill(m_previousEffect);
    }
}

void Tovix::releasePreviousEffect() noexcept {
    if (isLocked()) {
        m_previousEffect.retire();
    } else {
        m_previousEffect.release();
    }
}

HRESULT Tovix::fillPreviousEffectSlot(IUnknown& previousEffect) noexcept {
    return isLocked() ? APOERR_APO_LOCKED : m_previousEffect.fill(previousEffect);
}

void Tovix::processConnections(UINT32 inputCount, APO_CONNECTION_PROPERTY** ppInputs, UINT32 outputCount,
                               APO_CONNECTION_PROPERTY** ppOutputs) noexcept {
    PreviousEffectSlot* const pPreviousEffect = m_effectManager.wantsPreviousEffect() ? &m_previousEffect : nullptr;
    processEngineBlock({inputCount, ppInputs, outputCount, ppOutputs},
                       {m_channels, m_processSilence, pPreviousEffect}, m_effectManager);
}

} // namespace tovix
