#include "apo/Tovix.h"

#include "apo/RegistrationRecord.h"
#include "apo/TovixLog.h"
#include "platform/ComEdge.h"
#include "stream/ChannelAdapter.h"
#include "system/GuardedCall.h"
#include "system/RegistryUtils.h"

#include <propsys.h>

#include <cstring>

namespace tovix {
namespace {

/// The engine's call, handed on to the previous effect.
class HostedApo final : public IPreviousEffect {
public:
    struct Call {
        IAudioProcessingObjectRT* pApo;
        UINT32 inputCount;
        APO_CONNECTION_PROPERTY** ppInputs;
        UINT32 outputCount;
        APO_CONNECTION_PROPERTY** ppOutputs;
    };
    [[gnu::always_inline]] explicit HostedApo(const Call& call) noexcept : m_call(call) {}

    void processBlock() noexcept override RT_SECTION;

private:
    Call m_call;
};

void HostedApo::processBlock() noexcept {
    m_call.pApo->APOProcess(m_call.inputCount, m_call.ppInputs, m_call.outputCount, m_call.ppOutputs);
}

/// Stands in for a previous effect that does not run although the chain was laid out for its output: gives the chain
/// the stream's own samples with the channel count that it expects.
class AdaptedStream final : public IPreviousEffect {
public:
    [[gnu::always_inline]] explicit AdaptedStream(const ChannelChange& change) noexcept : m_change(change) {}

    void processBlock() noexcept override RT_SECTION;

private:
    ChannelChange m_change;
};

void AdaptedStream::processBlock() noexcept {
    adaptChannels(m_change);
}

/// The first connection's property, or null where there is none.
RT_SECTION APO_CONNECTION_PROPERTY* firstConnection(UINT32 count, APO_CONNECTION_PROPERTY** ppConnections) noexcept {
    return count != 0 && ppConnections != nullptr ? ppConnections[0] : nullptr;
}

RT_SECTION BlockBuffer blockBuffer(const APO_CONNECTION_PROPERTY& property) noexcept {
    return {reinterpret_cast<float*>(property.pBuffer), property.u32ValidFrameCount,
            static_cast<BufferFlags>(property.u32BufferFlags)};
}

} // namespace

Tovix::Tovix(IUnknown* pOuter)
    : CBaseAudioProcessingObject(registrationRecord),
      // The non-delegating interface has IUnknown's three slots under other names.
      m_pControlling(pOuter != nullptr ? pOuter
                                       : reinterpret_cast<IUnknown*>(static_cast<INonDelegatingUnknown*>(this))) {
    inTovix("Tovix::Tovix", this).info("CALLED");
}

Tovix::~Tovix() {
    m_oldApo.release();
    m_oldApo.giveBackRetired();
    inTovix("Tovix::~Tovix", this).info("CALLED");
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
    if (m_oldApo.present()) {
        static_cast<void>(guardedResult([&] { return m_oldApo.apo().GetLatency(pTime); }));
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
        inTovix("Tovix::Initialize", this).error("cbDataSize size IS incorrect.");
        return E_INVALIDARG;
    }
    std::memcpy(&data, pbyData, sizeof data);
    return atComEdge([&] { return initialize(data); });
}

HRESULT Tovix::initialize(const APOInitSystemEffects& data) {
    releaseOldApo();
    logClassId(data.APOInit.clsid);
    m_effectManager.switches.switchA = false;
    PropertyValue endpoint;
    const HRESULT hr = data.pAPOEndpointProperties != nullptr
                           ? data.pAPOEndpointProperties->GetValue(endpointGuidKey, endpoint.receive())
                           : E_INVALIDARG;
    if (FAILED(hr)) {
        inTovix("Tovix::Initialize", this).error("Failed to read endpoint GUID");
        return hr;
    }
    const std::wstring endpointGuid = endpoint.text();
    inTovix("Tovix::Initialize", this).info("Endpoint GUID: ", endpointGuid);
    m_effectManager.switches.switchB = true;
    return S_OK;
}

void Tovix::logClassId(REFCLSID classId) const {
    if (!logEnabled(LogLevel::Info)) {
        return;
    }
    try {
        const std::wstring text = classIdText(classId);
        inTovix("Tovix::Initialize", this).info("APO GUID: ", text);
    } catch (...) {
        // No memory counts as the conversion's failure: a line of the log must not fail the initialization.
        inTovix("Tovix::Initialize", this).error("Failed to convert APO GUID to text");
    }
}

void Tovix::releaseOldApo() noexcept {
    if (isLocked()) {
        m_oldApo.retire();
    } else {
        m_oldApo.release();
    }
}

HRESULT Tovix::fillOldApoSlot(IUnknown& oldApo) noexcept {
    return isLocked() ? APOERR_APO_LOCKED : atComEdge([&] { return m_oldApo.fill(oldApo); });
}

void Tovix::processConnections(UINT32 inputCount, APO_CONNECTION_PROPERTY** ppInputs, UINT32 outputCount,
                               APO_CONNECTION_PROPERTY** ppOutputs) noexcept {
    const APO_CONNECTION_PROPERTY* const pInput = firstConnection(inputCount, ppInputs);
    APO_CONNECTION_PROPERTY* const pOutput = firstConnection(outputCount, ppOutputs);
    if (pInput == nullptr || pOutput == nullptr) {
        return;
    }
    const BlockBuffer input = blockBuffer(*pInput);
    BlockBuffer output = blockBuffer(*pOutput);
    IAudioProcessingObjectRT* const pOldApo = m_effectManager.oldApoSetting() ? m_oldApo.processing() : nullptr;
    HostedApo hosted({pOldApo, inputCount, ppInputs, outputCount, ppOutputs});
    AdaptedStream adapted(
        {output.samples, input.samples, m_channels.chainInput, m_channels.input, input.validFrameCount});
    BlockContext context{m_channels.input, m_channels.output, m_processSilence, nullptr};
    if (pOldApo != nullptr) {
        context.pPrevious = &hosted;
    } else if (m_channels.chainInput != m_channels.input) {
        context.pPrevious = &adapted;
    }
    if (!processBlock(m_effectManager, context, input, output)) {
        return;
    }
    pOutput->u32ValidFrameCount = output.validFrameCount;
    pOutput->u32BufferFlags = static_cast<APO_BUFFER_FLAGS>(output.flags);
}

} // namespace tovix
