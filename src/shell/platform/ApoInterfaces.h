#pragma once

#include "platform/ApoTypes.h"

#include <unknwn.h>

/// The audio engine's interfaces. Their tables are fixed by the platform: the three operations of IUnknown, then
/// these, in this order. None has a virtual destructor, which would take table slots.
namespace tovix {

inline constexpr IID IID_IAudioMediaType{
    0x4E997F73, 0xB71F, 0x4798, {0x87, 0x3B, 0xED, 0x7D, 0xFC, 0xF1, 0x5B, 0x4D}};
inline constexpr IID IID_IAudioProcessingObject{
    0xFD7F2B29, 0x24D0, 0x4B5C, {0xB1, 0x77, 0x59, 0x2C, 0x39, 0xF9, 0xCA, 0x10}};
inline constexpr IID IID_IAudioProcessingObjectRT{
    0x9E1D6A6D, 0xDDBC, 0x4E95, {0xA4, 0xC7, 0xAD, 0x64, 0xBA, 0x37, 0x84, 0x6C}};
inline constexpr IID IID_IAudioProcessingObjectConfiguration{
    0x0E5ED805, 0xABA6, 0x49C3, {0x8F, 0x9A, 0x2B, 0x8C, 0x88, 0x9C, 0x4F, 0xA8}};
inline constexpr IID IID_IAudioSystemEffects{
    0x5FA00F27, 0xADD6, 0x499A, {0x8A, 0x9D, 0x6B, 0x98, 0x52, 0x1F, 0xA7, 0x5B}};

/// One audio format. All operations are [control].
struct IAudioMediaType : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE IsCompressedFormat(BOOL* pCompressed) = 0;
    /// Stores what is equal (`AUDIOMEDIATYPE_EQUAL_...`); `S_OK` when everything is, else `S_FALSE`.
    virtual HRESULT STDMETHODCALLTYPE IsEqual(IAudioMediaType* pOther, DWORD* pEqualFlags) = 0;
    /// The format, owned by this object. A pointer, not a result code.
    virtual const WAVEFORMATEX* STDMETHODCALLTYPE GetAudioFormat() = 0;
    virtual HRESULT STDMETHODCALLTYPE GetUncompressedAudioFormat(UNCOMPRESSEDAUDIOFORMAT* pFormat) = 0;
};

/// Identity, latency and format negotiation. All operations are [control].
struct IAudioProcessingObject : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Reset() = 0;
    /// In units of 100 ns.
    virtual HRESULT STDMETHODCALLTYPE GetLatency(HNSTIME* pTime) = 0;
    /// The caller frees the record with `CoTaskMemFree`.
    virtual HRESULT STDMETHODCALLTYPE GetRegistrationProperties(APO_REG_PROPERTIES** ppProperties) = 0;
    virtual HRESULT STDMETHODCALLTYPE Initialize(UINT32 cbDataSize, BYTE* pbyData) = 0;
    /// `S_OK` and the requested type, or `S_FALSE` and a proposal; the caller releases what it is handed.
    virtual HRESULT STDMETHODCALLTYPE IsInputFormatSupported(IAudioMediaType* pOppositeFormat,
                                                             IAudioMediaType* pRequestedInputFormat,
                                                             IAudioMediaType** ppSupportedInputFormat) = 0;
    virtual HRESULT STDMETHODCALLTYPE IsOutputFormatSupported(IAudioMediaType* pOppositeFormat,
                                                              IAudioMediaType* pRequestedOutputFormat,
                                                              IAudioMediaType** ppSupportedOutputFormat) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetInputChannelCount(UINT32* pChannelCount) = 0;
};

/// Processing. All operations are [audio].
struct IAudioProcessingObjectRT : IUnknown {
    virtual void STDMETHODCALLTYPE APOProcess(UINT32 inputCount, APO_CONNECTION_PROPERTY** ppInputs,
                                              UINT32 outputCount, APO_CONNECTION_PROPERTY** ppOutputs) noexcept = 0;
    virtual UINT32 STDMETHODCALLTYPE CalcInputFrames(UINT32 outputFrames) noexcept = 0;
    virtual UINT32 STDMETHODCALLTYPE CalcOutputFrames(UINT32 inputFrames) noexcept = 0;
};

/// Locking of a stream's format. All operations are [control].
struct IAudioProcessingObjectConfiguration : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE LockForProcess(UINT32 inputCount, APO_CONNECTION_DESCRIPTOR** ppInputs,
                                                     UINT32 outputCount, APO_CONNECTION_DESCRIPTOR** ppOutputs) = 0;
    virtual HRESULT STDMETHODCALLTYPE UnlockForProcess() = 0;
};

/// Marks an object as a system effect.
struct IAudioSystemEffects : IUnknown {};

/// An aggregatable object's own unknown: the same three slots as IUnknown under other names, so that an object can
/// have both these and the ones that delegate to its controlling unknown.
struct INonDelegatingUnknown {
    virtual HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID riid, void** ppv) = 0;
    virtual ULONG STDMETHODCALLTYPE NonDelegatingAddRef() = 0;
    virtual ULONG STDMETHODCALLTYPE NonDelegatingRelease() = 0;

protected:
    ~INonDelegatingUnknown() = default;
};

} // namespace tovix
