#pragma once

#include "apo/OldApoSlot.h"
#include "manager/EffectManager.h"
#include "platform/CBaseAudioProcessingObject.h"
#include "system/ModuleState.h"

#include <atomic>
#include <optional>

namespace tovix {

/// The audio processing object that the engine sees: a system effect, aggregatable, that negotiates formats, is
/// locked for one stream at a time, processes its blocks in place, and forwards to a previous effect where its slot
/// holds one. The engine makes its configuration calls one at a time; `APOProcess` comes on the audio thread.
///
/// Every method answers a result code and lets no exception out; out-pointers are cleared first.
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
    /// channels must not be more than the output's. Here both formats are required.
    HRESULT STDMETHODCALLTYPE IsInputFormatSupported(IAudioMediaType* pOppositeFormat,
                                                     IAudioMediaType* pRequestedInputFormat,
                                                     IAudioMediaType** ppSupportedInputFormat) noexcept override;

    /// [control] Locks the previous effect, then this object, and lays out the chain for the connections' formats.
    HRESULT STDMETHODCALLTYPE LockForProcess(UINT32 inputCount, APO_CONNECTION_DESCRIPTOR** ppInputs,
                                             UINT32 outputCount,
                                             APO_CONNECTION_DESCRIPTOR** ppOutputs) noexcept override;
    HRESULT STDMETHODCALLTYPE UnlockForProcess() noexcept override;

    /// [control] Not part of any interface: puts a previous effect, already initialized, into the slot.
    /// `APOERR_APO_LOCKED` while a stream is locked, `E_NOINTERFACE` when `oldApo` lacks an interface.
    HRESULT fillOldApoSlot(IUnknown& oldApo) noexcept;

protected:
    /// [audio] The first connection each way is used; without one nothing happens.
    void processConnections(UINT32 inputCount, APO_CONNECTION_PROPERTY** ppInputs, UINT32 outputCount,
                            APO_CONNECTION_PROPERTY** ppOutputs) noexcept override RT_SECTION;

private:
    /// The arguments of a lock.
    struct Connections {
        UINT32 inputCount;
        APO_CONNECTION_DESCRIPTOR** ppInputs;
        UINT32 outputCount;
        APO_CONNECTION_DESCRIPTOR** ppOutputs;

        [[nodiscard]] bool readable() const noexcept;
    };
    /// One end of a stream as its connection describes it.
    struct StreamEnd {
        UNCOMPRESSEDAUDIOFORMAT format{};
        UINT32 maxFrames = 0;
    };
    struct Formats {
        UNCOMPRESSEDAUDIOFORMAT requested{};
        UNCOMPRESSEDAUDIOFORMAT output{};
    };
    /// Channel counts of the locked stream, and the count that the chain takes.
    struct StreamChannels {
        std::uint32_t input = 0;
        std::uint32_t output = 0;
        std::uint32_t chainInput = 0;
    };

    void releaseOldApo() noexcept;

    HRESULT initialize(const APOInitSystemEffects& data);
    void logClassId(REFCLSID classId) const;

    HRESULT negotiateInput(IAudioMediaType* pOpposite, IAudioMediaType* pRequested, IAudioMediaType** ppSupported);
    HRESULT readFormats(IAudioMediaType& opposite, IAudioMediaType& requested, Formats& formats) const;
    std::optional<HRESULT> askOldApo(IAudioMediaType* pOpposite, IAudioMediaType* pRequested,
                                     IAudioMediaType** ppSupported);
    HRESULT decideInput(IAudioMediaType* pOpposite, IAudioMediaType* pRequested, IAudioMediaType** ppSupported,
                        const Formats& formats);
    HRESULT reportDecision(HRESULT decision, IAudioMediaType** ppSupported) const;

    HRESULT lock(const Connections& connections);
    HRESULT lockBase(const Connections& connections) noexcept;
    HRESULT readEnd(const APO_CONNECTION_DESCRIPTOR& connection, std::string_view label, StreamEnd& end) const;
    /// Whether it is locked now, or false where there is none.
    bool lockOldApo(const Connections& connections) noexcept;
    void configureStream(const StreamEnd& input, const StreamEnd& output) noexcept;

    std::atomic<ULONG> m_references{1};
    /// The outer unknown, or the object's own non-delegating one. Borrowed.
    IUnknown* m_pControlling;
    EffectManager m_effectManager;
    /// Whether a silent input may give a sounding output. Nothing sets it, deliberately: silence stays silence.
    bool m_processSilence = false;
    OldApoSlot m_oldApo;
    /// Written while no block is processed.
    StreamChannels m_channels;
};

} // namespace tovix
