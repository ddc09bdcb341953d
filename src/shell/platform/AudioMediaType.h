#pragma once

#include "platform/ApoInterfaces.h"
#include "system/ModuleState.h"

#include <atomic>

namespace tovix {

/// An immutable uncompressed audio format behind the platform's media type interface. All [control].
class AudioMediaType final : private ModuleUse, public IAudioMediaType {
public:
    /// Starts with one reference, which the maker owns. `format` has a frame size that fits 16 bits.
    explicit AudioMediaType(const UNCOMPRESSEDAUDIOFORMAT& format) noexcept;
    AudioMediaType(const AudioMediaType&) = delete;
    AudioMediaType& operator=(const AudioMediaType&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) noexcept override;
    ULONG STDMETHODCALLTYPE AddRef() noexcept override;
    ULONG STDMETHODCALLTYPE Release() noexcept override;
    HRESULT STDMETHODCALLTYPE IsCompressedFormat(BOOL* pCompressed) noexcept override;
    HRESULT STDMETHODCALLTYPE IsEqual(IAudioMediaType* pOther, DWORD* pEqualFlags) noexcept override;
    const WAVEFORMATEX* STDMETHODCALLTYPE GetAudioFormat() noexcept override;
    HRESULT STDMETHODCALLTYPE GetUncompressedAudioFormat(UNCOMPRESSEDAUDIOFORMAT* pFormat) noexcept override;

private:
    ~AudioMediaType() = default;

    std::atomic<ULONG> m_references{1};
    UNCOMPRESSEDAUDIOFORMAT m_format;
    WAVEFORMATEXTENSIBLE m_wave;
};

/// [control] Makes a media type of `pFormat` and hands it out with one reference. `E_POINTER` for null arguments,
/// `E_INVALIDARG` for a format whose frame is larger than a wave format can say, `E_OUTOFMEMORY`.
HRESULT CreateAudioMediaTypeFromUncompressedAudioFormat(const UNCOMPRESSEDAUDIOFORMAT* pFormat,
                                                        IAudioMediaType** ppMediaType) noexcept;

} // namespace tovix
