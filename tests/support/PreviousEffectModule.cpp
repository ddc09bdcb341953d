// Effects of another maker, as a device may have had before: an in-process server with a class for each way to
// behave.

#include "platform/ApoInterfaces.h"
#include "support/EngineSide.h"
#include "support/PreviousEffectClasses.h"

#include <propsys.h>

#include <algorithm>
#include <atomic>
#include <limits>

namespace tovix::test {
namespace {

using Kind = PreviousEffectKind;

std::atomic<long> objectsAlive{0};

void throwAsThePlatformDoes() {
    ::RaiseException(0xE06D7363, EXCEPTION_NONCONTINUABLE, 0, nullptr);
}

/// What every method begins with; one kind throws in it.
void enter(Kind kind, Kind throwing = Kind::count) {
    if (kind == Kind::slow) {
        ::Sleep(20);
    }
    if (kind == throwing) {
        throwAsThePlatformDoes();
    }
}

/// A format that no sound has. The library owns a reference.
FormatDouble nonsense({floatSubtype, 0, 4, 32, std::numeric_limits<float>::quiet_NaN(), 0});

class Effect final : public PreviousEffectBase, public IAudioSystemEffects {
public:
    explicit Effect(Kind kind) : m_kind(kind) { ++objectsAlive; }
    virtual ~Effect() { --objectsAlive; }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
        *ppv = nullptr;
        enter(m_kind, IsEqualIID(riid, IID_IUnknown) ? Kind::count : Kind::queryThrows);
        if (m_kind == Kind::givesNoInterface && !IsEqualIID(riid, IID_IUnknown)) {
            return S_OK;
        }
        if (IsEqualIID(riid, IID_IAudioProcessingObjectRT) && m_kind != Kind::withoutRealtimeInterface) {
            *ppv = static_cast<IAudioProcessingObjectRT*>(this);
        } else if (IsEqualIID(riid, IID_IAudioProcessingObjectConfiguration) &&
                   m_kind != Kind::withoutConfigurationInterface) {
            *ppv = static_cast<IAudioProcessingObjectConfiguration*>(this);
        } else if (IsEqualIID(riid, IID_IAudioSystemEffects2) && m_kind == Kind::halvingLonger) {
            *ppv = static_cast<IAudioSystemEffects*>(this);
        } else if (IsEqualIID(riid, IID_IUnknown) || IsEqualIID(riid, IID_IAudioProcessingObject)) {
            *ppv = static_cast<IAudioProcessingObject*>(this);
        } else {
            return E_NOINTERFACE;
        }
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override {
        const Kind kind = m_kind;
        const ULONG left = giveBack();
        enter(kind, Kind::releaseThrows);
        return left;
    }
    ULONG giveBack() {
        const ULONG left = --m_references;
        if (left == 0) {
            delete this;
        }
        return left;
    }

    HRESULT STDMETHODCALLTYPE GetLatency(HNSTIME* pTime) override {
        *pTime = 0;
        enter(m_kind, Kind::latencyThrows);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Initialize(UINT32 sizeBytes, BYTE* pBytes) override {
        enter(m_kind, Kind::initializeThrows);
        return m_kind != Kind::initializeFails && isRightRecord(sizeBytes, pBytes) ? S_OK : E_INVALIDARG;
    }
    HRESULT STDMETHODCALLTYPE IsInputFormatSupported(IAudioMediaType*, IAudioMediaType* pRequested,
                                                     IAudioMediaType** ppSupported) override {
        enter(m_kind, Kind::negotiationThrows);
        const auto isOneOf = [this](Kind a, Kind b) { return m_kind == a || m_kind == b; };
        if (!isOneOf(Kind::acceptsNothing, Kind::proposesNothing) && m_kind != Kind::acceptsNothingWithAnotherCode) {
            *ppSupported = m_kind == Kind::proposesNonsense ? &nonsense : pRequested;
            (*ppSupported)->AddRef();
        }
        if (isOneOf(Kind::acceptsWithAnotherCode, Kind::acceptsNothingWithAnotherCode)) {
            return anotherSuccess;
        }
        return isOneOf(Kind::proposesNothing, Kind::proposesNonsense) ? S_FALSE : S_OK;
    }

    HRESULT STDMETHODCALLTYPE LockForProcess(UINT32, APO_CONNECTION_DESCRIPTOR** ppInputs, UINT32,
                                             APO_CONNECTION_DESCRIPTOR**) override {
        UNCOMPRESSEDAUDIOFORMAT format{};
        ppInputs[0]->pFormat->GetUncompressedAudioFormat(&format);
        m_channels = format.dwSamplesPerFrame;
        m_blocks = 0;
        enter(m_kind, Kind::lockThrows);
        const HRESULT success = m_kind == Kind::locksWithAnotherCode ? anotherSuccess : S_OK;
        return m_kind == Kind::lockFails ? E_OUTOFMEMORY : success;
    }
    HRESULT STDMETHODCALLTYPE UnlockForProcess() override {
        enter(m_kind, Kind::unlockThrows);
        return m_kind == Kind::unlockFails ? E_OUTOFMEMORY : S_OK;
    }

    void STDMETHODCALLTYPE APOProcess(UINT32, APO_CONNECTION_PROPERTY** ppInputs, UINT32,
                                      APO_CONNECTION_PROPERTY** ppOutputs) noexcept override {
        const bool isSecond = m_blocks++ % 2 == 1;
        enter(m_kind, isSecond ? Kind::processThrows : Kind::count);
        const auto* const pIn = reinterpret_cast<const float*>(ppInputs[0]->pBuffer);
        auto* const pOut = reinterpret_cast<float*>(ppOutputs[0]->pBuffer);
        std::transform(pIn, pIn + std::size_t{ppInputs[0]->u32ValidFrameCount} * m_channels, pOut,
                       [](float sample) { return 0.5F * sample; });
        const bool isSilent = isSecond && m_kind == Kind::everySecondSilent;
        ppOutputs[0]->u32ValidFrameCount = ppInputs[0]->u32ValidFrameCount;
        ppOutputs[0]->u32BufferFlags = isSilent ? BUFFER_SILENT : BUFFER_VALID;
        if (m_kind == Kind::processLies) {
            *ppOutputs[0] = {0, 1000000, BUFFER_INVALID, 0};
            ppInputs[0]->pBuffer = 0;
        }
    }

private:
    /// Whether the record is what the engine would fill in, and its stores can be used.
    [[nodiscard]] bool isRightRecord(UINT32 sizeBytes, const BYTE* pBytes) const {
        const bool isLonger = m_kind == Kind::halvingLonger || m_kind == Kind::initializeWantsAnotherSize;
        const auto& record = *reinterpret_cast<const APOInitSystemEffects2*>(pBytes);
        if (sizeBytes != (isLonger ? 88U : 56U) || record.APOInit.cbSize != sizeBytes ||
            !IsEqualGUID(record.APOInit.clsid, previousEffectClass(m_kind)) ||
            record.pAPOEndpointProperties == nullptr || record.pAPOSystemEffectsProperties == nullptr) {
            return false;
        }
        PROPVARIANT value{};
        const bool isReadable = SUCCEEDED(record.pAPOEndpointProperties->GetValue(endpointGuidKey, &value));
        ::PropVariantClear(&value);
        return isReadable &&
               (!isLonger || (record.nSoftwareIoConnectorIndex == 0 && record.InitializeForDiscoveryOnly == FALSE &&
                              IsEqualGUID(record.AudioProcessingMode, defaultProcessingMode)));
    }

    static constexpr HRESULT anotherSuccess = 2;

    std::atomic<ULONG> m_references{1};
    Kind m_kind;
    UINT32 m_channels = 0;
    UINT32 m_blocks = 0;
};

class Factory final : public IClassFactory {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** ppv) override {
        *ppv = this;
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown*, REFIID riid, void** ppv) override {
        *ppv = nullptr;
        enter(kind, Kind::makingThrows);
        if (kind == Kind::unmakable) {
            return E_ACCESSDENIED;
        }
        if (kind == Kind::missing) {
            return S_OK;
        }
        auto* const pEffect = new Effect(kind);
        const HRESULT hr = pEffect->QueryInterface(riid, ppv);
        pEffect->giveBack();
        return hr;
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

    Kind kind = Kind::halving;
};

Factory factories[static_cast<std::size_t>(Kind::count)];

} // namespace
} // namespace tovix::test

extern "C" HRESULT WINAPI DllGetClassObject(REFCLSID classId, REFIID, void** ppv) {
    using namespace tovix::test;
    const std::uint32_t index = classId.Data1 - previousEffectClass(PreviousEffectKind::halving).Data1;
    if (index >= std::size(factories)) {
        *ppv = nullptr;
        return CLASS_E_CLASSNOTAVAILABLE;
    }
    factories[index].kind = static_cast<PreviousEffectKind>(index);
    *ppv = &factories[index];
    return S_OK;
}

extern "C" long ObjectsAlive() {
    return tovix::test::objectsAlive + static_cast<long>(tovix::test::nonsense.references) - 1;
}

extern "C" HRESULT WINAPI DllCanUnloadNow() {
    return ObjectsAlive() == 0 ? S_OK : S_FALSE;
}
