#include "support/ModuleUnderTest.h"

#include <gtest/gtest.h>

#include <cmath>
#include <optional>

namespace tovix::test {
namespace {

constexpr GUID integerSubtype{0x00000001, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};
constexpr UNCOMPRESSEDAUDIOFORMAT integerFormat{integerSubtype, 2, 2, 16, 48000.0F, 3};

void expectSameFormat(const UNCOMPRESSEDAUDIOFORMAT& got, const UNCOMPRESSEDAUDIOFORMAT& expected) {
    EXPECT_TRUE(IsEqualGUID(got.guidFormatType, expected.guidFormatType));
    EXPECT_EQ(got.dwSamplesPerFrame, expected.dwSamplesPerFrame);
    EXPECT_EQ(got.dwBytesPerSampleContainer, expected.dwBytesPerSampleContainer);
    EXPECT_EQ(got.dwValidBitsPerSample, expected.dwValidBitsPerSample);
    EXPECT_EQ(got.fFramesPerSecond, expected.fFramesPerSecond);
    EXPECT_EQ(got.dwChannelMask, expected.dwChannelMask);
}

TEST(FormatNegotiation, MakesAProposalWhereverTheFormatCanBeMended) {
    const ModuleUnderTest module;
    const Effect effect(module.create());
    using Format = UNCOMPRESSEDAUDIOFORMAT;
    const struct {
        const char* description;
        /// None for a null one, which means any.
        std::optional<Format> output;
        Format request;
        HRESULT result;
        std::optional<Format> proposal;
    } cases[] = {
        {"six into two", floatFormat(2, 48000, 3), floatFormat(6), S_FALSE, floatFormat(2, 48000, 3)},
        {"three into two", floatFormat(2), floatFormat(3), S_FALSE, floatFormat(2)},
        {"another rate", floatFormat(2), floatFormat(2, 44100), S_FALSE, floatFormat(2)},
        {"no float", floatFormat(2), integerFormat, S_FALSE, floatFormat(2, 48000, 3)},
        {"too slow", floatFormat(2, 10), floatFormat(2, 5), S_FALSE, floatFormat(2, 10)},
        {"too fast", floatFormat(2, 384000), floatFormat(2, 400000), S_FALSE, floatFormat(2, 384000)},
        {"no rate", floatFormat(2, 10), floatFormat(2, std::nanf("")), S_FALSE, floatFormat(2, 10)},
        {"no channel", floatFormat(2), floatFormat(0), S_FALSE, floatFormat(1)},
        {"too many channels", floatFormat(4096), floatFormat(5000), S_FALSE, floatFormat(4096)},
        {"any output, six", {}, floatFormat(6), S_OK, {}},
        {"any output, no float", {}, integerFormat, S_FALSE, floatFormat(2, 48000, 3)},
        {"any output, too fast", {}, floatFormat(2, 400000), S_FALSE, floatFormat(2, 384000)},
        {"output is no float", integerFormat, floatFormat(2), APOERR_FORMAT_NOT_SUPPORTED, {}},
        {"output is too fast", floatFormat(2, 400000), floatFormat(2), APOERR_FORMAT_NOT_SUPPORTED, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.description);
        FormatDouble known(c.output.value_or(Format{}));
        FormatDouble* const pOutput = c.output ? &known : nullptr;
        FormatDouble request(c.request);
        const Negotiation negotiation = negotiate(*effect.apo, pOutput, &request);
        EXPECT_EQ(negotiation.result, c.result);
        EXPECT_EQ(negotiation.pHandedOut == &request, c.result == S_OK);
        EXPECT_EQ(negotiation.pHandedOut == nullptr, FAILED(c.result));
        EXPECT_EQ(request.references, 1U);
        EXPECT_EQ(known.references, 1U);
        if (c.proposal) {
            expectSameFormat(negotiation.proposed, *c.proposal);
            FormatDouble accepted(*c.proposal);
            const bool mendedAtOnce = c.proposal->dwSamplesPerFrame != 1 && c.proposal->dwSamplesPerFrame != 4096;
            EXPECT_TRUE(!mendedAtOnce || negotiate(*effect.apo, pOutput, &accepted).result == S_OK);
        }
    }
}

TEST(FormatNegotiation, OutputSideMirrorsTheInputWithoutTheRuleForManyChannels) {
    const ModuleUnderTest module;
    const Effect effect(module.create());
    FormatDouble input(floatFormat(2));
    FormatDouble six(floatFormat(6));
    FormatDouble slow(floatFormat(6, 44100));
    EXPECT_EQ(negotiate(*effect.apo, &input, &six, false).result, S_OK);
    const Negotiation negotiation = negotiate(*effect.apo, &input, &slow, false);
    EXPECT_EQ(negotiation.result, S_FALSE);
    expectSameFormat(negotiation.proposed, floatFormat(6));
    EXPECT_EQ(negotiate(*effect.apo, nullptr, &six, false).result, S_OK);
    EXPECT_EQ(negotiate(*effect.apo, &input, nullptr, false).result, E_POINTER);
    EXPECT_EQ(effect.apo->IsOutputFormatSupported(&input, &six, nullptr), E_POINTER);
}

TEST(FormatNegotiation, NullAndUnreadableFormatsAreNotFollowed) {
    const ModuleUnderTest module;
    const Effect effect(module.create());
    FormatDouble good(floatFormat(2));
    FormatDouble bad(floatFormat(2), E_UNEXPECTED);
    EXPECT_EQ(effect.apo->IsInputFormatSupported(&good, &good, nullptr), E_POINTER);
    const struct {
        FormatDouble* pOutput;
        FormatDouble* pRequest;
        HRESULT result;
    } cases[] = {{&good, nullptr, E_POINTER}, {&bad, &good, E_UNEXPECTED}, {&good, &bad, E_UNEXPECTED}};
    for (const auto& c : cases) {
        const Negotiation negotiation = negotiate(*effect.apo, c.pOutput, c.pRequest);
        EXPECT_EQ(negotiation.result, c.result);
        EXPECT_EQ(negotiation.pHandedOut, nullptr);
    }
}

} // namespace
} // namespace tovix::test
