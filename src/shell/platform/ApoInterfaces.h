#pragma once

#include <windows.h>

#include <mmreg.h>
#include <unknwn.h>
#include <wtypes.h>

#include <audioapotypes.h>

#include <cstddef>

struct IPropertyStore;

/// The audio engine's records, flags, result codes and interfaces. The toolchain declares the connection property
/// alone; the rest is laid down here, in the platform's own names. The records are held to the platform's layout at
/// compile time. The interfaces' tables are fixed by the platform too: the three operations of IUnknown, then these,
/// in this order. None has a virtual destructor, which would take table slots.
namespace tovix {

enum APO_FLAG : UINT32 {
    APO_FLAG_NONE = 0,
    APO_FLAG_INPLACE = 0x1,
    APO_FLAG_SAMPLESPERFRAME_MUST_MATCH = 0x2,
    APO_FLAG_FRAMESPERSECOND_MUST_MATCH = 0x4,
    APO_FLAG_BITSPERSAMPLE_MUST_MATCH = 0x8,
    APO_FLAG_MIXER = 0x10,
};

enum APO_CONNECTION_BUFFER_TYPE : UINT32 {
    APO_CONNECTION_BUFFER_TYPE_ALLOCATED = 0,
    APO_CONNECTION_BUFFER_TYPE_EXTERNAL = 1,
    APO_CONNECTION_BUFFER_TYPE_DEPENDANT = 2,
};

constexpr UINT32 APO_CONNECTION_DESCRIPTOR_SIGNATURE = 0x41434453;
constexpr UINT32 APO_CONNECTION_PROPERTY_SIGNATURE = 0x41435053;

/// The audio engine's result code number `code`; for any thread.
constexpr HRESULT apoError(UINT32 code) noexcept {
    return static_cast<HRESULT>(0x887D0000U | code);
}

constexpr HRESULT APOERR_ALREADY_INITIALIZED = apoError(0x1);
constexpr HRESULT APOERR_NOT_INITIALIZED = apoError(0x2);
constexpr HRESULT APOERR_FORMAT_NOT_SUPPORTED = apoError(0x3);
constexpr HRESULT APOERR_ALREADY_UNLOCKED = apoError(0x6);
constexpr HRESULT APOERR_NUM_CONNECTIONS_INVALID = apoError(0x7);
constexpr HRESULT APOERR_INVALID_CONNECTION_FORMAT = apoError(0x9);
constexpr HRESULT APOERR_APO_LOCKED = apoError(0xA);

/// Characters of each text in a registration record, terminator included.
constexpr std::size_t apoTextCapacity = 256;

/// What an effect tells the engine about itself.
struct APO_REG_PROPERTIES {
    CLSID clsid;
    APO_FLAG Flags;
    WCHAR szFriendlyName[apoTextCapacity];
    WCHAR szCopyrightInfo[apoTextCapacity];
    UINT32 u32MajorVersion;
    UINT32 u32MinorVersion;
    UINT32 u32MinInputConnections;
    UINT32 u32MaxInputConnections;
    UINT32 u32MinOutputConnections;
    UINT32 u32MaxOutputConnections;
    UINT32 u32MaxInstances;
    /// Entries of the list that follows; the record grows past its end with them.
    UINT32 u32NumAPOInterfaces;
    IID iidAPOInterfaceList[1];
};

struct IAudioMediaType;

/// One connection as the engine offers it for locking. The media type is borrowed.
struct APO_CONNECTION_DESCRIPTOR {
    APO_CONNECTION_BUFFER_TYPE Type;
    UINT_PTR pBuffer;
    UINT32 u32MaxFrameCount;
    IAudioMediaType* pFormat;
    UINT32 u32Signature;
};

struct APOInitBaseStruct {
    UINT32 cbSize;
    CLSID clsid;
};

/// What `Initialize` is given. The interfaces are borrowed; the last two fields are not used here.
struct APOInitSystemEffects {
    APOInitBaseStruct APOInit;
    IPropertyStore* pAPOEndpointProperties;
    IPropertyStore* pAPOSystemEffectsProperties;
    void* pReserved;
    void* pDeviceCollection;
};

/// What `Initialize` of an effect with `IAudioSystemEffects2` is given.
struct APOInitSystemEffects2 {
    APOInitBaseStruct APOInit;
    IPropertyStore* pAPOEndpointProperties;
    IPropertyStore* pAPOSystemEffectsProperties;
    void* pReserved;
    void* pDeviceCollection;
    UINT nSoftwareIoDeviceInCollection;
    UINT nSoftwareIoConnectorIndex;
    GUID AudioProcessingMode;
    BOOL InitializeForDiscoveryOnly;
};

struct UNCOMPRESSEDAUDIOFORMAT {
    GUID guidFormatType;
    DWORD dwSamplesPerFrame;
    DWORD dwBytesPerSampleContainer;
    DWORD dwValidBitsPerSample;
    FLOAT fFramesPerSecond;
    DWORD dwChannelMask;
};

/// What `IAudioMediaType::IsEqual` found equal.
constexpr DWORD AUDIOMEDIATYPE_EQUAL_FORMAT_TYPES = 0x2;
constexpr DWORD AUDIOMEDIATYPE_EQUAL_FORMAT_DATA = 0x4;
constexpr DWORD AUDIOMEDIATYPE_EQUAL_FORMAT_USER_DATA = 0x8;

/// 32-bit float samples.
inline constexpr GUID floatSubtype{0x00000003, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};

/// The property that holds an endpoint's identity, a string; the platform's `PKEY_AudioEndpoint_GUID`, which no
/// import library of the toolchain has.
inline constexpr PROPERTYKEY endpointGuidKey{
    {0x1DA5D803, 0xD492, 0x4EDD, {0x8C, 0x23, 0xE0, 0xC0, 0xFF, 0xEE, 0x7F, 0x0E}}, 4};

static_assert(sizeof(APO_REG_PROPERTIES) == 1092);
static_assert(offsetof(APO_REG_PROPERTIES, Flags) == 16);
static_assert(offsetof(APO_REG_PROPERTIES, szFriendlyName) == 20);
static_assert(offsetof(APO_REG_PROPERTIES, szCopyrightInfo) == 532);
static_assert(offsetof(APO_REG_PROPERTIES, u32MajorVersion) == 1044);
static_assert(offsetof(APO_REG_PROPERTIES, u32MinInputConnections) == 1052);
static_assert(offsetof(APO_REG_PROPERTIES, u32MaxOutputConnections) == 1064);
static_assert(offsetof(APO_REG_PROPERTIES, u32MaxInstances) == 1068);
static_assert(offsetof(APO_REG_PROPERTIES, u32NumAPOInterfaces) == 1072);
static_assert(offsetof(APO_REG_PROPERTIES, iidAPOInterfaceList) == 1076);

static_assert(sizeof(APO_CONNECTION_DESCRIPTOR) == 40);
static_assert(offsetof(APO_CONNECTION_DESCRIPTOR, pBuffer) == 8);
static_assert(offsetof(APO_CONNECTION_DESCRIPTOR, u32MaxFrameCount) == 16);
static_assert(offsetof(APO_CONNECTION_DESCRIPTOR, pFormat) == 24);
static_assert(offsetof(APO_CONNECTION_DESCRIPTOR, u32Signature) == 32);

static_assert(sizeof(APO_CONNECTION_PROPERTY) == 24);
static_assert(offsetof(APO_CONNECTION_PROPERTY, u32ValidFrameCount) == 8);
static_assert(offsetof(APO_CONNECTION_PROPERTY, u32BufferFlags) == 12);
static_assert(offsetof(APO_CONNECTION_PROPERTY, u32Signature) == 16);

static_assert(sizeof(APOInitBaseStruct) == 20);
static_assert(offsetof(APOInitBaseStruct, clsid) == 4);
static_assert(sizeof(APOInitSystemEffects) == 56);
static_assert(offsetof(APOInitSystemEffects, pAPOEndpointProperties) == 24);
static_assert(offsetof(APOInitSystemEffects, pAPOSystemEffectsProperties) == 32);
static_assert(offsetof(APOInitSystemEffects, pReserved) == 40);
static_assert(offsetof(APOInitSystemEffects, pDeviceCollection) == 48);

static_assert(sizeof(APOInitSystemEffects2) == 88);
static_assert(offsetof(APOInitSystemEffects2, nSoftwareIoDeviceInCollection) == 56);
static_assert(offsetof(APOInitSystemEffects2, AudioProcessingMode) == 64);
static_assert(offsetof(APOInitSystemEffects2, InitializeForDiscoveryOnly) == 80);

static_assert(sizeof(UNCOMPRESSEDAUDIOFORMAT) == 36);
static_assert(offsetof(UNCOMPRESSEDAUDIOFORMAT, dwSamplesPerFrame) == 16);
static_assert(offsetof(UNCOMPRESSEDAUDIOFORMAT, dwBytesPerSampleContainer) == 20);
static_assert(offsetof(UNCOMPRESSEDAUDIOFORMAT, dwValidBitsPerSample) == 24);
static_assert(offsetof(UNCOMPRESSEDAUDIOFORMAT, fFramesPerSecond) == 28);
static_assert(offsetof(UNCOMPRESSEDAUDIOFORMAT, dwChannelMask) == 32);

inline constexpr IID IID_IAudioMediaType{
    0x4E997F73, 0xB71F, 0x4798, {0x87, 0x3B, 0xED, 0x7D, 0xFC, 0xF1, 0x5B, 0x4D}};
inline constexpr IID IID_IAudioProcessingObject{
    0xFD7F2B29, 0x24D0, 0x4B5C, {0xB1, 0x77, 0x59, 0x2C, 0x39, 0xF9, 0xCA, 0x10}};
inline constexpr IID IID_IAudioProcessingObjectRT{
    0x9E1D6A6D, 0xDDBC, 0x4E95, {0xA4, 0xC7, 0xAD, 0x64, 0xBA, 0x37, 0x84, 0x6C}};
inline constexpr IID IID_IAudioProcessingObjectConfiguration{
    0x0E5ED805, 0xABA6, 0x49C3, {0x8F, 0x9A, 0x2B, 0x8C, 0x88, 0x9C, 0x4F, 0xA8}};
/// Only asked for: whether an effect takes the longer record.
inline constexpr IID IID_IAudioSystemEffects2{
    0xBAFE99D2, 0x7436, 0x44CE, {0x9E, 0x0E, 0x4D, 0x89, 0xAF, 0xBF, 0xFF, 0x56}};
/// The mode of sound that asks for no particular processing.
inline constexpr GUID defaultProcessingMode{
    0xC18E2F7E, 0x933D, 0x4965, {0xB7, 0xD1, 0x1E, 0xEF, 0x22, 0x8D, 0x2A, 0xF3}};
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

/// [control] An aggregatable object's own unknown: the same three slots as IUnknown under other names, so that an
/// object can have both these and the ones that delegate to its controlling unknown.
struct INonDelegatingUnknown {
    virtual HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID riid, void** ppv) = 0;
    virtual ULONG STDMETHODCALLTYPE NonDelegatingAddRef() = 0;
    virtual ULONG STDMETHODCALLTYPE NonDelegatingRelease() = 0;

protected:
    ~INonDelegatingUnknown() = default;
};

} // namespace tovix
