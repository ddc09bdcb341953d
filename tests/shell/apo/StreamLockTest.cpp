#include "apo/StreamLock.h"
#include "support/ModuleUnderTest.h"

#include <gtest/gtest.h>

#include <cstring>

namespace tovix::test {
namespace {

using Format = UNCOMPRESSEDAUDIOFORMAT;

APO_CONNECTION_DESCRIPTOR connection(FormatDouble& format, UINT32 maxFrames) {
    return {APO_CONNECTION_BUFFER_TYPE_EXTERNAL, 0, maxFrames, &format, APO_CONNECTION_DESCRIPTOR_SIGNATURE};
}

TEST(StreamLock, LaysTheChainOutForBothConnections) {
    const struct {
        Format input;
        UINT32 inputFrames;
        Format output;
        UINT32 outputFrames;
        bool hasPreviousEffect;
        StreamFormat expected; // rate, format word, input and output channels, mask, frames
    } cases[] = {
        {floatFormat(2, 44100, 0x600), 480, floatFormat(2, 48000, 3), 441, false, {48000, 2, 2, 2, 3, 480}},
        {floatFormat(2, 48000, 0x600), 0, floatFormat(2), 441, false, {48000, 2, 2, 2, 0x600, 441}},
        {floatFormat(2, 48000, 0x600), 480, floatFormat(3), 480, false, {48000, 2, 2, 3, 0, 480}},
        {floatFormat(2, 48000, 3), 480, floatFormat(6, 48000, 0x3F), 480, true, {48000, 2, 6, 6, 0x3F, 480}},
        {floatFormat(1), 0, floatFormat(2), 0, true, {48000, 1, 2, 2, 0, 0}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "case " << &c - cases);
        FormatDouble in(c.input);
        FormatDouble out(c.output);
        auto source = connection(in, c.inputFrames);
        auto target = connection(out, c.outputFrames);
        auto* pSource = &source;
        auto* pTarget = &target;
        StreamLock stream({1, &pSource, 1, &pTarget}, FunctionLog("", "", nullptr));
        ASSERT_TRUE(stream.isComplete());
        ASSERT_EQ(stream.read(), S_OK);
        const StreamFormat format = stream.streamFormat(c.hasPreviousEffect);
        EXPECT_EQ(std::memcmp(&format, &c.expected, sizeof format), 0) << testing::PrintToString(format);
        const StreamChannels channels = stream.channels(c.hasPreviousEffect);
        EXPECT_EQ(channels.input, c.input.dwSamplesPerFrame);
        EXPECT_EQ(channels.output, c.output.dwSamplesPerFrame);
        EXPECT_EQ(channels.chainInput, c.expected.inputChannels);
    }
}

TEST(StreamLock, RefusesWhatCannotBeProcessed) {
    const ModuleUnderTest module;
    Effect effect(module.create());
    const Format integer{{0x00000001, 0x0000, 0x0010, {0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71}}, 2, 2, 16, 48000, 3};
    EXPECT_EQ(effect.lock(integer, integer, 480), APOERR_INVALID_CONNECTION_FORMAT);
    EXPECT_EQ(effect.lock(floatFormat(2), floatFormat(2, 400000), 480), APOERR_INVALID_CONNECTION_FORMAT);
    EXPECT_EQ(effect.lock(floatFormat(2), floatFormat(2, 44100), 480), APOERR_INVALID_CONNECTION_FORMAT);
    FormatDouble format(floatFormat(2));
    FormatDouble unreadable(floatFormat(2), E_UNEXPECTED);
    EXPECT_EQ(effect.lock(unreadable, format, 480), E_UNEXPECTED);
    EXPECT_EQ(effect.lock(format, unreadable, 480), E_UNEXPECTED);

    auto good = connection(format, 480);
    auto noFormat = good;
    noFormat.pFormat = nullptr;
    APO_CONNECTION_DESCRIPTOR* two[] = {&good, &good};
    APO_CONNECTION_DESCRIPTOR* none[] = {nullptr};
    APO_CONNECTION_DESCRIPTOR* withoutFormat[] = {&noFormat};
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

} // namespace
} // namespace tovix::test
