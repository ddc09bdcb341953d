#pragma once

#include "memory/RtSection.h"
#include "platform/ApoInterfaces.h"
#include "system/Locks.h"

#include <atomic>

namespace tovix {

/// The table of the real-time interface. Its entries stand in the real-time section because they belong to the class
/// that the table starts; an entry overridden further down would be reached through an adjustment of the object's
/// address, which the compiler puts among the ordinary code.
class RealtimeEntry : public IAudioProcessingObjectRT {
public:
    /// [audio] Handed on to the derived class's `processConnections`.
    void STDMETHODCALLTYPE APOProcess(UINT32 inputCount, APO_CONNECTION_PROPERTY** ppInputs, UINT32 outputCount,
                                      APO_CONNECTION_PROPERTY** ppOutputs) noexcept final RT_SECTION;
    /// [audio] Frame counts do not change on the way through.
    UINT32 STDMETHODCALLTYPE CalcInputFrames(UINT32 outputFrames) noexcept final RT_SECTION;
    UINT32 STDMETHODCALLTYPE CalcOutputFrames(UINT32 inputFrames) noexcept final RT_SECTION;

protected:
    ~RealtimeEntry() = default;
};

/// The behaviour that every audio processing object shares: registration record, format validation, negotiation
/// from the record's flags, and the locked state. IUnknown and the processing are the derived class's.
///
/// All operations are [control] but those of the real-time interface. `Initialize` and the initialized state are the
/// derived class's too. Nothing here sets that state, and so `GetInputChannelCount` returns `APOERR_NOT_INITIALIZED`
/// for the object's whole life; that is intended.
class CBaseAudioProcessingObject : public IAudioProcessingObject,
                                   public RealtimeEntry,
                                   public IAudioProcessingObjectConfiguration {
public:
    CBaseAudioProcessingObject(const CBaseAudioProcessingObject&) = delete;
    CBaseAudioProcessingObject& operator=(const CBaseAudioProcessingObject&) = delete;

    HRESULT STDMETHODCALLTYPE Reset() noexcept override { return S_OK; }
    HRESULT STDMETHODCALLTYPE GetRegistrationProperties(APO_REG_PROPERTIES** ppProperties) noexcept override;

    /// Returns `S_OK` and the requested type, or `S_FALSE` and a type corrected by the default validation and the
    /// registration's must-match flags. `E_POINTER` for a null request or out-pointer; a null opposite side means
    /// any; `APOERR_FORMAT_NOT_SUPPORTED` for one that validation would change.
    HRESULT STDMETHODCALLTYPE IsInputFormatSupported(IAudioMediaType* pOppositeFormat,
                                                     IAudioMediaType* pRequestedInputFormat,
                                                     IAudioMediaType** ppSupportedInputFormat) noexcept override;
    /// The same, with the sides exchanged.
    HRESULT STDMETHODCALLTYPE IsOutputFormatSupported(IAudioMediaType* pOppositeFormat,
                                                      IAudioMediaType* pRequestedOutputFormat,
                                                      IAudioMediaType** ppSupportedOutputFormat) noexcept override;
    HRESULT STDMETHODCALLTYPE GetInputChannelCount(UINT32* pChannelCount) noexcept override;

    /// Locks the object. In the order of the checks: `APOERR_NUM_CONNECTIONS_INVALID` for counts outside the
    /// registration's, `E_POINTER` for null arrays, descriptors or formats, `APOERR_APO_LOCKED`, and
    /// `APOERR_INVALID_CONNECTION_FORMAT` for a format that the default validation would change or for unequal rates.
    HRESULT STDMETHODCALLTYPE LockForProcess(UINT32 inputCount, APO_CONNECTION_DESCRIPTOR** ppInputs,
                                             UINT32 outputCount,
                                             APO_CONNECTION_DESCRIPTOR** ppOutputs) noexcept override;
    /// `APOERR_ALREADY_UNLOCKED` when it is not locked.
    HRESULT STDMETHODCALLTYPE UnlockForProcess() noexcept override;

    // With the platform's compiler the destructor takes one table slot, with this one two; no caller outside the
    // module knows the slots from here on.
    virtual ~CBaseAudioProcessingObject() = default;

protected:
    friend class RealtimeEntry;

    /// [control] `registration` outlives the object.
    explicit CBaseAudioProcessingObject(const APO_REG_PROPERTIES& registration) noexcept
        : m_registration(registration) {}

    /// [audio] The body of `APOProcess`, with its arguments.
    virtual void processConnections(UINT32 inputCount, APO_CONNECTION_PROPERTY** ppInputs, UINT32 outputCount,
                                    APO_CONNECTION_PROPERTY** ppOutputs) noexcept = 0;
    /// The platform's hook for a further check of the connections before the object is locked: none here.
    virtual HRESULT ValidateConnections(UINT32 inputCount, APO_CONNECTION_DESCRIPTOR** ppInputs, UINT32 outputCount,
                                        APO_CONNECTION_DESCRIPTOR** ppOutputs) noexcept;
    /// Corrects `format` to what the object processes (32-bit float, 1 to 4096 channels, 10 to 384000 Hz):
    /// `S_FALSE` when anything changed, else `S_OK`.
    virtual HRESULT ValidateDefaultFormat(UNCOMPRESSEDAUDIOFORMAT& format) noexcept;

    /// [control] Any thread.
    [[nodiscard]] bool isLocked() const noexcept { return m_isLocked.load(std::memory_order_acquire); }

private:
    HRESULT negotiate(IAudioMediaType* pOpposite, IAudioMediaType* pRequested, IAudioMediaType** ppSupported);
    bool applyMatchFlags(const UNCOMPRESSEDAUDIOFORMAT& opposite, UNCOMPRESSEDAUDIOFORMAT& format) const noexcept;
    HRESULT checkFormats(const APO_CONNECTION_DESCRIPTOR& input, const APO_CONNECTION_DESCRIPTOR& output);

    const APO_REG_PROPERTIES& m_registration;
    /// Guards the change of the locked state.
    CriticalSection m_lock;
    std::atomic<bool> m_isLocked{false};
    bool m_isInitialized = false;
    UINT32 m_samplesPerFrame = 0;
};

} // namespace tovix
