#include "platform/AudioMediaType.h"
#include "platform/ComEdge.h"
#include "support/EngineSide.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <utility>

namespace tovix::test {
namespace {

ComReference<IAudioMediaType> mediaType(const UNCOMPRESSEDAUDIOFORMAT& format) {
    IAudioMediaType* pType = nullptr;
    EXPECT_EQ(CreateAudioMediaTypeFromUncompressedAudioFormat(&format, &pType), S_OK);
    return ComReference<IAudioMediaType>(pType);
}

TEST(AudioMediaType, IsAWholeWaveFormatAndTellsWhatEqualsIt) {
    const auto type = mediaType(floatFormat(6, 44100, 0x60F));
    const auto& wave = *reinterpret_cast<const WAVEFORMATEXTENSIBLE*>(type->GetAudioFormat());
    const WAVEFORMATEXTENSIBLE expected{
        {WAVE_FORMAT_EXTENSIBLE, 6, 44100, 44100 * 24, 24, 32, 22}, {32}, 0x60F, floatSubtype};
    EXPECT_EQ(std::memcmp(&wave, &expected, sizeof wave), 0);
    BOOL compressed = TRUE;
    EXPECT_EQ(type->IsCompressedFormat(&compressed), S_OK);
    EXPECT_EQ(compressed, FALSE);
    EXPECT_EQ(type->IsCompressedFormat(nullptr), E_POINTER);
    constexpr DWORD types = 2;
    constexpr DWORD data = 4;
    constexpr DWORD userData = 8;
    const std::pair<UNCOMPRESSEDAUDIOFORMAT, DWORD> others[] = {
        {floatFormat(6, 44100, 0x60F), types | data | userData},
        {floatFormat(6, 10, 0x60F), types | userData},
        {floatFormat(6, 44100, 0x3F), types | data},
        {{{}, 6, 4, 32, 44100, 0x60F}, data}};
    DWORD equal = 0;
    for (const auto& [format, flags] : others) {
        EXPECT_EQ(type->IsEqual(mediaType(format).get(), &equal), flags == 14 ? S_OK : S_FALSE);
        EXPECT_EQ(equal, flags);
    }
    EXPECT_EQ(type->IsEqual(nullptr, &equal), E_INVALIDARG);
}

TEST(AudioMediaType, IsNotMadeOfWhatAWaveFormatCannotSay) {
    const UNCOMPRESSEDAUDIOFORMAT formats[] = {floatFormat(16384), floatFormat(2, 1e10F), floatFormat(2, -1.0F),
                                               floatFormat(2, std::numeric_limits<float>::quiet_NaN())};
    for (const auto& format : formats) {
        FormatDouble other(format);
        IAudioMediaType* pType = &other; // must be cleared
        EXPECT_EQ(CreateAudioMediaTypeFromUncompressedAudioFormat(&format, &pType), E_INVALIDARG);
        EXPECT_EQ(pType, nullptr);
    }
}

} // namespace
} // namespace tovix::test
