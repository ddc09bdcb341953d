#include "platform/AudioMediaType.h"

#include <cstdint>
#include <cstring>
#include <limits>
#include <new>

namespace tovix {
namespace {

constexpr DWORD bitsPerByte = 8;

WAVEFORMATEXTENSIBLE waveFormat(const UNCOMPRESSEDAUDIOFORMAT& format) noexcept {
    WAVEFORMATEXTENSIBLE wave{};
    wave.Format.wFormatTag = WAVE_FORMAT_EXTENSIBLE;
    wave.Format.nChannels = static_cast<WORD>(format.dwSamplesPerFrame);
    // NOLINTNEXTLINE(bugprone-incorrect-roundings): a rate is never negative
    wave.Format.nSamplesPerSec = static_cast<DWORD>(format.fFramesPerSecond + 0.5F);
    wave.Format.nBlockAlign = static_cast<WORD>(format.dwSamplesPerFrame * format.dwBytesPerSampleContainer);
    wave.Format.nAvgBytesPerSec = wave.Format.nSamplesPerSec * wave.Format.nBlockAlign;
    wave.Format.wBitsPerSample = static_cast<WORD>(format.dwBytesPerSampleContainer * bitsPerByte);
    wave.Format.cbSize = sizeof(WAVEFORMATEXTENSIBLE) - sizeof(WAVEFORMATEX);
    wave.Samples.wValidBitsPerSample = static_cast<WORD>(format.dwValidBitsPerSample);
    wave.dwChannelMask = format.dwChannelMask;
    wave.SubFormat = format.guidFormatType;
    return wave;
}

/// Whether every number of the record has room in a wave format.
bool fitsWaveFormat(const UNCOMPRESSEDAUDIOFORMAT& format) noexcept {
    constexpr std::uint64_t wordMax = std::numeric_limits<WORD>::max();
    constexpr float rateLimitHz = 4294967040.0F;
    return format.dwSamplesPerFrame <= wordMax && format.dwValidBitsPerSample <= wordMax &&
           std::uint64_t{format.dwBytesPerSampleContainer} * bitsPerByte <= wordMax &&
           std::uint64_t{format.dwSamplesPerFrame} * format.dwBytesPerSampleContainer <= wordMax &&
           format.fFramesPerSecond >= 0.0F && format.fFramesPerSecond < rateLimitHz;
}

/// The bytes behind the basic part, as far as both formats are extensible or both are not.
bool equalUserData(const WAVEFORMATEX& a, const WAVEFORMATEX& b) noexcept {
    return a.cbSize == b.cbSize && std::memcmp(&a + 1, &b + 1, a.cbSize) == 0;
}

bool equalType(const WAVEFORMATEXTENSIBLE& a, const WAVEFORMATEX& b) noexcept {
    if (b.wFormatTag != WAVE_FORMAT_EXTENSIBLE) {
        return a.SubFormat.Data1 == b.wFormatTag;
    }
    return b.cbSize >= a.Format.cbSize &&
           IsEqualGUID(a.SubFormat, reinterpret_cast<const WAVEFORMATEXTENSIBLE&>(b).SubFormat) != FALSE;
}

bool equalData(const WAVEFORMATEX& a, const WAVEFORMATEX& b) noexcept {
    return a.nChannels == b.nChannels && a.nSamplesPerSec == b.nSamplesPerSec && a.nBlockAlign == b.nBlockAlign &&
           a.nAvgBytesPerSec == b.nAvgBytesPerSec && a.wBitsPerSample == b.wBitsPerSample;
}

} // namespace

AudioMediaType::AudioMediaType(const UNCOMPRESSEDAUDIOFORMAT& format) noexcept
    : m_format(format), m_wave(waveFormat(format)) {}

HRESULT AudioMediaType::QueryInterface(REFIID riid, void** ppv) noexcept {
    if (ppv == nullptr) {
        return E_POINTER;
    }
    *ppv = nullptr;
    if (!IsEqualIID(riid, IID_IUnknown) && !IsEqualIID(riid, IID_IAudioMediaType)) {
        return E_NOINTERFACE;
    }
    *ppv = static_cast<IAudioMediaType*>(this);
    AddRef();
    return S_OK;
}

ULONG AudioMediaType::AddRef() noexcept {
    return ++m_references;
}

ULONG AudioMediaType::Release() noexcept {
    const ULONG left = --m_references;
    if (left == 0) {
        const ModuleUse use;
        delete this;
    }
    return left;
}

HRESULT AudioMediaType::IsCompressedFormat(BOOL* pCompressed) noexcept {
    if (pCompressed == nullptr) {
        return E_POINTER;
    }
    *pCompressed = FALSE;
    return S_OK;
}

HRESULT AudioMediaType::IsEqual(IAudioMediaType* pOther, DWORD* pEqualFlags) noexcept {
    if (pEqualFlags != nullptr) {
        *pEqualFlags = 0;
    }
    const WAVEFORMATEX* const pWave = pOther != nullptr ? pOther->GetAudioFormat() : nullptr;
    if (pEqualFlags == nullptr || pWave == nullptr) {
        return E_INVALIDARG;
    }
    constexpr DWORD everything =
        AUDIOMEDIATYPE_EQUAL_FORMAT_TYPES | AUDIOMEDIATYPE_EQUAL_FORMAT_DATA | AUDIOMEDIATYPE_EQUAL_FORMAT_USER_DATA;
    *pEqualFlags = (equalType(m_wave, *pWave) ? AUDIOMEDIATYPE_EQUAL_FORMAT_TYPES : 0) |
                   (equalData(m_wave.Format, *pWave) ? AUDIOMEDIATYPE_EQUAL_FORMAT_DATA : 0) |
                   (equalUserData(m_wave.Format, *pWave) ? AUDIOMEDIATYPE_EQUAL_FORMAT_USER_DATA : 0);
    return *pEqualFlags == everything ? S_OK : S_FALSE;
}

const WAVEFORMATEX* AudioMediaType::GetAudioFormat() noexcept {
    return &m_wave.Format;
}

HRESULT AudioMediaType::GetUncompressedAudioFormat(UNCOMPRESSEDAUDIOFORMAT* pFormat) noexcept {
    if (pFormat == nullptr) {
        return E_POINTER;
    }
    *pFormat = m_format;
    return S_OK;
}

HRESULT CreateAudioMediaTypeFromUncompressedAudioFormat(const UNCOMPRESSEDAUDIOFORMAT* pFormat,
                                                        IAudioMediaType** ppMediaType) noexcept {
    if (ppMediaType == nullptr) {
        return E_POINTER;
    }
    *ppMediaType = nullptr;
    if (pFormat == nullptr) {
        return E_POINTER;
    }
    if (!fitsWaveFormat(*pFormat)) {
        return E_INVALIDARG;
    }
    *ppMediaType = new (std::nothrow) AudioMediaType(*pFormat);
    return *ppMediaType != nullptr ? S_OK : E_OUTOFMEMORY;
}

} // namespace tovix
