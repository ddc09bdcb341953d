#include "platform/AudioMediaType.h"
#include "platform/ComEdge.h"
#include "support/EngineSide.h"

#include <gtest/gtest.h>

#include <limits>

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
    EXPECT_EQ(wave.Format.wFormatTag, WAVE_FORMAT_EXTENSIBLE);
    EXPECT_EQ(wave.Format.nChannels, 6);
    EXPECT_EQ(wave.Format.nSamplesPerSec, 44100U);
    EXPECT_EQ(wave.Format.nBlockAlign, 24);
    EXPECT_EQ(wave.Format.nAvgBytesPerSec, 44100U * 24);
    EXPECT_EQ(wave.Format.wBitsPerSample, 32);
    EXPECT_EQ(wave.Samples.wValidBitsPerSample, 32);
    EXPECT_EQ(wave.dwChannelMask, 0x60FU);
    EXPECT_TRUE(IsEqualGUID(wave.SubFormat, floatSubtype));
    BOOL compressed = TRUE;
    EXPECT_EQ(type->IsCompressedFormat(&compressed), S_OK);
    EXPECT_EQ(compressed, FALSE);
    DWORD equal = 0;
    EXPECT_EQ(type->IsEqual(type.get(), &equal), S_OK);
    EXPECT_EQ(equal, 14U);
    EXPECT_EQ(type->IsEqual(mediaType(floatFormat(6, 10, 0x60F)).get(), &equal), S_FALSE);
    EXPECT_EQ(equal, AUDIOMEDIATYPE_EQUAL_FORMAT_TYPES | AUDIOMEDIATYPE_EQUAL_FORMAT_USER_DATA);
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
