#pragma once

#include "apo/PreviousEffectSearch.h"
#include "apo/PreviousEffectSlot.h"
#include "apo/StreamLock.h"
#include "manager/EffectManager.h"
#include "platform/CBaseAudioProcessingObject.h"
#include "system/ModuleState.h"

#include <atomic>

namespace tovix {

class FormatNegotiation;

/// The audio processing object that the engine sees: a system effect, aggregatable, that negotiates formats, is
/// locked for one stream at a time, processes its blocks in place, and forwards to a previous effect where its slot
/// holds one. The engine makes its configuration calls one at a time; `APOProcess` comes on the audio thread.
///
/// All operations are [control] but `processConnections`. Every method returns a result code and lets no exception
/// out; out-pointers are cleared first.
class Tovix final : private ModuleUse,
                    public CBaseAudioProcessingObject,
                    public IAudioSystemEffects,
                    public INonDelegatingUnknown {
public:
    /// [control] Starts with one non-delegating reference, which the maker owns. `pOuter` is the controlling unknown
    /// of an aggregate, borrowed, or null. Throws std::bad_alloc.
    explicit Tovix(IUnknown* pOuter);
    ~Tovix() override;

    /// [control] Those of all interfaces delegate to the controlling unknown.
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) noexcept override;
    ULONG STDMETHODCALLTYPE AddRef() noexcept override;
    ULONG STDMETHODCALLTYPE Release() noexcept override;

    /// [control] The object's own.
    HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID riid, void** ppv) noexcept override;
    ULONG STDMETHODCALLTYPE NonDelegatingAddRef() noexcept override;
    ULONG STDMETHODCALLTYPE NonDelegatingRelease() noexcept override;

    /// [control] 0, or what the previous effect says; `APOERR_ALREADY_UNLOCKED` unless locked.
    HRESULT STDMETHODCALLTYPE GetLatency(HNSTIME* pTime) noexcept override;

    /// [control] Takes an `APOInitSystemEffects` record. May be called again; empties the slot of the previous
    /// effect.
    HRESULT STDMETHODCALLTYPE Initialize(UINT32 cbDataSize, BYTE* pbyData) noexcept override;

    /// [control] The previous effect's decision, or else the base's, with one more rule: three or more input
    /// channels must not be more than the output's. A null output format means any, and the base decides alone.
    HRESULT STDMETHODCALLTYPE IsInputFormatSupported(IAudioMediaType* pOppositeFormat,
                                                     IAudioMediaType* pRequestedInputFormat,
                                                     IAudioMediaType** ppSupportedInputFormat) noexcept override;

    /// [control] Locks the previous effect, then this object, and lays out the chain for the connections' formats.
    HRESULT STDMETHODCALLTYPE LockForProcess(UINT32 inputCount, APO_CONNECTION_DESCRIPTOR** ppInputs,
                                             UINT32 outputCount,
                                             APO_CONNECTION_DESCRIPTOR** ppOutputs) noexcept override;
    /// [control] Unlocks the previous effect, then this object. The chain stays until the next lock.
    HRESULT STDMETHODCALLTYPE UnlockForProcess() noexcept override;

    /// [control] Not part of any interface: puts a previous effect, already initialized, into the slot.
    /// `APOERR_APO_LOCKED` while a stream is locked; else see PreviousEffectSlot::fill.
    HRESULT fillPreviousEffectSlot(IUnknown& previousEffect) noexcept;

protected:
    /// [audio] The first connection each way is used; without one nothing happens.
    void processConnections(UINT32 inputCount, APO_CONNECTION_PROPERTY** ppInputs, UINT32 outputCount,
                            APO_CONNECTION_PROPERTY** ppOutputs) noexcept override RT_SECTION;

private:
    HRESULT initialize(const APOInitSystemEffects& data);
    void logClassId(REFCLSID classId) const;
    HRESULT negotiateInput(FormatNegotiation& negotiation);
    HRESULT lock(StreamLock& stream);
    /// Before a negotiation or a lock: looks for the previous effect where the settings want one and there is none.
    void findPreviousEffect() noexcept;
    /// Empties the slot, now or, while a stream is locked, at its end.
    void releasePreviousEffect() noexcept;

    std::atomic<ULONG> m_references{1};
    /// The outer unknown, or the object's own non-delegating one. Borrowed.
    IUnknown* m_pControlling;
    EffectManager m_effectManager;
    /// Whether a silent input may give a sounding output. Nothing sets it, deliberately: silence stays silence.
    bool m_processSilence = false;
    PreviousEffectSearch m_previousEffectSearch;
    PreviousEffectSlot m_previousEffect;
    /// Written while no block is processed.
    StreamChannels m_channels;
};

} // namespace tovix
