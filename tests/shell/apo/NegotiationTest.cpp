#include "support/ModuleUnderTest.h"
#include "support/SettingsWriter.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
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

TEST(Negotiation, AnswersAProposalWhereverTheFormatCanBeMended) {
    const ModuleUnderTest module;
    const Effect effect(module.create());
    using Format = UNCOMPRESSEDAUDIOFORMAT;
    const struct {
        const char* description;
        Format output;
        Format request;
        HRESULT result;
        std::optional<Format> proposal;
    } cases[] = {
        {"equal", floatFormat(2), floatFormat(2), S_OK, {}},
        {"two into six", floatFormat(6), floatFormat(2), S_OK, {}},
        {"six into eight", floatFormat(8), floatFormat(6), S_OK, {}},
        {"two into one", floatFormat(1), floatFormat(2), S_OK, {}},
        {"six into two", floatFormat(2, 48000, 3), floatFormat(6), S_FALSE, floatFormat(2, 48000, 3)},
        {"three into two", floatFormat(2), floatFormat(3), S_FALSE, floatFormat(2)},
        {"another rate", floatFormat(2), floatFormat(2, 44100), S_FALSE, floatFormat(2)},
        {"no float", floatFormat(2), integerFormat, S_FALSE, floatFormat(2, 48000, 3)},
        {"too slow", floatFormat(2, 10), floatFormat(2, 5), S_FALSE, floatFormat(2, 10)},
        {"too fast", floatFormat(2, 384000), floatFormat(2, 400000), S_FALSE, floatFormat(2, 384000)},
        {"no rate", floatFormat(2, 10), floatFormat(2, std::nanf("")), S_FALSE, floatFormat(2, 10)},
        {"no channel", floatFormat(2), floatFormat(0), S_FALSE, floatFormat(1)},
        {"too many channels", floatFormat(4096), floatFormat(5000), S_FALSE, floatFormat(4096)},
        {"output is no float", integerFormat, floatFormat(2), APOERR_FORMAT_NOT_SUPPORTED, {}},
        {"output is too fast", floatFormat(2, 400000), floatFormat(2), APOERR_FORMAT_NOT_SUPPORTED, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.description);
        FormatDouble output(c.output);
        FormatDouble request(c.request);
        const Negotiation answer = negotiate(*effect.apo, &output, &request);
        EXPECT_EQ(answer.result, c.result);
        EXPECT_EQ(answer.pHandedOut == &request, c.result == S_OK);
        EXPECT_EQ(answer.pHandedOut == nullptr, FAILED(c.result));
        EXPECT_EQ(request.references, 1U);
        EXPECT_EQ(output.references, 1U);
        if (c.proposal) {
            expectSameFormat(answer.proposed, *c.proposal);
            FormatDouble accepted(*c.proposal);
            const bool mendedAtOnce = c.proposal->dwSamplesPerFrame != 1 && c.proposal->dwSamplesPerFrame != 4096;
            EXPECT_TRUE(!mendedAtOnce || negotiate(*effect.apo, &output, &accepted).result == S_OK);
        }
    }
}

TEST(Negotiation, OutputSideMirrorsTheInputWithoutTheRuleForManyChannels) {
    const ModuleUnderTest module;
    const Effect effect(module.create());
    FormatDouble input(floatFormat(2));
    FormatDouble six(floatFormat(6));
    FormatDouble slow(floatFormat(6, 44100));
    EXPECT_EQ(negotiate(*effect.apo, &input, &six, false).result, S_OK);
    const Negotiation answer = negotiate(*effect.apo, &input, &slow, false);
    EXPECT_EQ(answer.result, S_FALSE);
    expectSameFormat(answer.proposed, floatFormat(6));
    EXPECT_EQ(negotiate(*effect.apo, nullptr, &six, false).result, S_OK);
    EXPECT_EQ(negotiate(*effect.apo, &input, nullptr, false).result, E_POINTER);
    EXPECT_EQ(effect.apo->IsOutputFormatSupported(&input, &six, nullptr), E_POINTER);
}

TEST(Negotiation, NullAndUnreadableFormatsAreAnsweredNotFollowed) {
    const ModuleUnderTest module;
    const Effect effect(module.create());
    FormatDouble good(floatFormat(2));
    FormatDouble bad(floatFormat(2), E_UNEXPECTED);
    EXPECT_EQ(negotiate(*effect.apo, &good, nullptr).result, E_POINTER);
    EXPECT_EQ(negotiate(*effect.apo, nullptr, &good).result, E_POINTER);
    EXPECT_EQ(effect.apo->IsInputFormatSupported(&good, &good, nullptr), E_POINTER);
    for (const Negotiation& answer : {negotiate(*effect.apo, &bad, &good), negotiate(*effect.apo, &good, &bad)}) {
        EXPECT_EQ(answer.result, E_UNEXPECTED);
        EXPECT_EQ(answer.pHandedOut, nullptr);
    }
}

TEST(Negotiation, AProposalIsAWholeMediaType) {
    const ModuleUnderTest module;
    const Effect effect(module.create());
    FormatDouble output(floatFormat(6, 44100, 0x3F));
    FormatDouble request(floatFormat(6, 96000, 0x60F));
    IAudioMediaType* pProposal = nullptr;
    ASSERT_EQ(effect.apo->IsInputFormatSupported(&output, &request, &pProposal), S_FALSE);
    const ComReference<IAudioMediaType> proposal(pProposal);
    const auto& wave = *reinterpret_cast<const WAVEFORMATEXTENSIBLE*>(proposal->GetAudioFormat());
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
    EXPECT_EQ(proposal->IsCompressedFormat(&compressed), S_OK);
    EXPECT_EQ(compressed, FALSE);

    DWORD equal = 0;
    EXPECT_EQ(proposal->IsEqual(proposal.get(), &equal), S_OK);
    EXPECT_EQ(equal, 14U);
    FormatDouble slow(floatFormat(6, 5, 0x60F));
    FormatDouble lowest(floatFormat(6, 10));
    IAudioMediaType* pOther = nullptr;
    ASSERT_EQ(effect.apo->IsInputFormatSupported(&lowest, &slow, &pOther), S_FALSE);
    const ComReference<IAudioMediaType> other(pOther);
    EXPECT_EQ(proposal->IsEqual(other.get(), &equal), S_FALSE);
    EXPECT_EQ(equal, AUDIOMEDIATYPE_EQUAL_FORMAT_TYPES | AUDIOMEDIATYPE_EQUAL_FORMAT_USER_DATA);
    EXPECT_EQ(proposal->IsEqual(nullptr, &equal), E_INVALIDARG);
}

TEST(Locking, RefusesWhatCannotBeProcessed) {
    const ModuleUnderTest module;
    Effect effect(module.create());
    EXPECT_EQ(effect.lock(integerFormat, integerFormat, 480), APOERR_INVALID_CONNECTION_FORMAT);
    EXPECT_EQ(effect.lock(floatFormat(2), floatFormat(2, 400000), 480), APOERR_INVALID_CONNECTION_FORMAT);
    EXPECT_EQ(effect.lock(floatFormat(2), floatFormat(2, 44100), 480), APOERR_INVALID_CONNECTION_FORMAT);

    FormatDouble format(floatFormat(2));
    APO_CONNECTION_DESCRIPTOR connection{APO_CONNECTION_BUFFER_TYPE_EXTERNAL, 0, 480, &format, 0};
    APO_CONNECTION_DESCRIPTOR* two[] = {&connection, &connection};
    APO_CONNECTION_DESCRIPTOR* none[] = {nullptr};
    APO_CONNECTION_DESCRIPTOR noFormat = connection;
    noFormat.pFormat = nullptr;
    APO_CONNECTION_DESCRIPTOR* withoutFormat[] = {&noFormat};
    FormatDouble unreadable(floatFormat(2), E_UNEXPECTED);
    EXPECT_EQ(effect.lock(unreadable, format, 480), E_UNEXPECTED);
    EXPECT_EQ(effect.lock(format, unreadable, 480), E_UNEXPECTED);
    const struct {
        UINT32 inputs;
        APO_CONNECTION_DESCRIPTOR** ppInputs;
        UINT32 outputs;
        APO_CONNECTION_DESCRIPTOR** ppOutputs;
        HRESULT result;
    } cases[] = {
        {0, two, 1, two, APOERR_NUM_CONNECTIONS_INVALID},
        {1, two, 0, two, APOERR_NUM_CONNECTIONS_INVALID},
        {2, two, 1, two, APOERR_NUM_CONNECTIONS_INVALID},
        {1, two, 2, two, APOERR_NUM_CONNECTIONS_INVALID},
        {1, nullptr, 1, two, E_POINTER},
        {1, two, 1, nullptr, E_POINTER},
        {1, none, 1, two, E_POINTER},
        {1, two, 1, none, E_POINTER},
        {1, withoutFormat, 1, two, E_POINTER},
        {1, two, 1, two, S_OK},
        {1, two, 1, two, APOERR_APO_LOCKED},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(effect.config->LockForProcess(c.inputs, c.ppInputs, c.outputs, c.ppOutputs), c.result)
            << "case " << &c - cases;
    }
}

TEST(Locking, StateShowsInLatencyAndUnlockingAndNeverInTheChannelCount) {
    const ModuleUnderTest module;
    Effect effect(module.create());
    HNSTIME time = -1;
    UINT32 channels = 0;
    EXPECT_EQ(effect.apo->GetLatency(nullptr), E_POINTER);
    EXPECT_EQ(effect.apo->GetLatency(&time), APOERR_ALREADY_UNLOCKED);
    EXPECT_EQ(effect.config->UnlockForProcess(), APOERR_ALREADY_UNLOCKED);
    ASSERT_EQ(effect.initialize(), S_OK);
    ASSERT_EQ(effect.lock(floatFormat(2), floatFormat(2), 480), S_OK);
    EXPECT_EQ(effect.apo->GetInputChannelCount(&channels), APOERR_NOT_INITIALIZED);
    EXPECT_EQ(effect.apo->GetLatency(&time), S_OK);
    EXPECT_EQ(time, 0);
    EXPECT_EQ(effect.config->UnlockForProcess(), S_OK);
    EXPECT_EQ(effect.config->UnlockForProcess(), APOERR_ALREADY_UNLOCKED);
    EXPECT_EQ(effect.apo->Reset(), S_OK);
}

TEST(Locking, WithoutAFrameCountOnEitherSidePassesTheSamplesOn) {
    const ModuleUnderTest module;
    SettingsWriter settings("Boost: 60 dB 1");
    Effect effect(module.create());
    const std::vector<float> samples{0.01F, 0.02F, 0.03F, 0.04F};
    ASSERT_EQ(effect.lock(floatFormat(2), floatFormat(2), 0, 0), S_OK); // no block length, no chain
    EXPECT_EQ(effect.process(samples, 2, 2), samples);
    ASSERT_EQ(effect.config->UnlockForProcess(), S_OK);
    ASSERT_EQ(effect.lock(floatFormat(2), floatFormat(2), 0, 2), S_OK);
    EXPECT_NE(effect.process(samples, 2, 2), samples);
}

TEST(Processing, IncompleteConnectionsAreNotFollowed) {
    const ModuleUnderTest module;
    Effect effect(module.create());
    ASSERT_EQ(effect.lock(floatFormat(1), floatFormat(1), 2), S_OK);
    using Property = APO_CONNECTION_PROPERTY;
    const std::array<float, 2> untouched{7, 7};
    std::array<float, 2> in{1, 2};
    std::array<float, 2> out{};
    Property source{reinterpret_cast<UINT_PTR>(in.data()), 2, BUFFER_VALID, APO_CONNECTION_PROPERTY_SIGNATURE};
    Property target = source;
    Property sourceWithout = source;
    sourceWithout.pBuffer = 0;
    Property* pSource = &source;
    Property* pSourceWithout = &sourceWithout;
    Property* pTarget = &target;
    Property* pNone = nullptr;
    const struct {
        UINT32 inputs;
        Property** ppInputs;
        UINT32 outputs;
        Property** ppOutputs;
        bool outputBuffer;
        APO_BUFFER_FLAGS flags;
        std::array<float, 2> written;
    } cases[] = {
        {0, &pSource, 1, &pTarget, true, BUFFER_INVALID, untouched},
        {1, &pSource, 0, &pTarget, true, BUFFER_INVALID, untouched},
        {1, nullptr, 1, &pTarget, true, BUFFER_INVALID, untouched},
        {1, &pSource, 1, nullptr, true, BUFFER_INVALID, untouched},
        {1, &pNone, 1, &pTarget, true, BUFFER_INVALID, untouched},
        {1, &pSource, 1, &pNone, true, BUFFER_INVALID, untouched},
        {1, &pSource, 1, &pTarget, false, BUFFER_SILENT, untouched},
        {1, &pSourceWithout, 1, &pTarget, true, BUFFER_SILENT, {0, 0}},
        {1, &pSource, 1, &pTarget, true, BUFFER_VALID, {1, 2}},
    };
    for (const auto& c : cases) {
        out = untouched;
        target = {c.outputBuffer ? reinterpret_cast<UINT_PTR>(out.data()) : 0, 2, BUFFER_INVALID,
                  APO_CONNECTION_PROPERTY_SIGNATURE};
        effect.rt->APOProcess(c.inputs, c.ppInputs, c.outputs, c.ppOutputs);
        EXPECT_EQ(target.u32BufferFlags, c.flags) << "case " << &c - cases;
        EXPECT_EQ(out, c.written) << "case " << &c - cases;
    }
}

} // namespace
} // namespace tovix::test
