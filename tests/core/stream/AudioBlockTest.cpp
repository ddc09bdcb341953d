#include "stream/AudioBlock.h"

#include "support/FloatRules.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

using namespace tovix;
using namespace tovix::test;

namespace {

/// No exceptions, rounding to nearest, denormals as zero, and no less than 53 bits.
bool areOwn(const FloatRules& rules) {
    return rules.vector == 0x9FC0 && (rules.x87 == 0x037F || rules.x87 == 0x027F);
}

/// Writes a given value, and keeps what it was handed and how often the previous effect ran before.
class Recorder : public IOwnEffect, public IPreviousEffect {
public:
    void process(float* output, const float* input, std::uint32_t frameCount) noexcept override {
        lastInput = input;
        firstInputSample = frameCount > 0 ? *input : 0.0F;
        rules = FloatRules::now();
        previousCallsBefore = previousCalls;
        std::fill_n(output, std::size_t{frameCount} * 2, value);
    }
    void processBlock() noexcept override {
        previousRules = FloatRules::now();
        FloatRules{0x1F80, 0x0C7F}.enforce(); // it need not leave things as it found them
        ++previousCalls;
    }

    float value = 0.5F;
    const float* lastInput = nullptr;
    float firstInputSample = -1.0F;
    FloatRules rules{};
    FloatRules previousRules{};
    int previousCalls = 0;
    int previousCallsBefore = 0;
};

struct Block {
    std::vector<float> in = std::vector<float>(8, 0.25F);
    std::vector<float> out = std::vector<float>(8, -1.0F);
    BlockBuffer input{in.data(), 4, BufferFlags::valid};
    BlockBuffer output{out.data(), 77, BufferFlags::invalid};
    BlockContext context{2, 2, false, nullptr};
    Recorder effect;

    void process() { processBlock(effect, context, input, output); }
};

TEST(AudioBlock, AnInvalidBlockTouchesNothing) {
    for (const std::uint32_t flags : {0U, 3U, 0x80000000U}) {
        Block block;
        block.input.flags = static_cast<BufferFlags>(flags);
        block.context.pPrevious = &block.effect;
        block.process();
        EXPECT_EQ(block.effect.lastInput, nullptr);
        EXPECT_EQ(block.effect.previousCalls, 0);
        EXPECT_EQ(block.output.validFrameCount, 77U);
        EXPECT_EQ(block.output.flags, BufferFlags::invalid);
        EXPECT_EQ(block.in, std::vector<float>(8, 0.25F));
        EXPECT_EQ(block.out, std::vector<float>(8, -1.0F));
    }
}

TEST(AudioBlock, AValidBlockIsMarkedValidEvenWhenItFallsSilentAndComesFromThePreviousEffectIfThereIsOne) {
    for (const bool previous : {false, true}) {
        Block block;
        block.effect.value = 0.0F;
        block.context.pPrevious = previous ? &block.effect : nullptr;
        block.process();
        EXPECT_EQ(block.effect.lastInput, previous ? block.out.data() : block.in.data());
        EXPECT_EQ(block.effect.previousCalls, previous ? 1 : 0);
        EXPECT_EQ(block.effect.previousCallsBefore, previous ? 1 : 0) << "it comes first";
        EXPECT_EQ(block.output.validFrameCount, 4U);
        EXPECT_EQ(block.output.flags, BufferFlags::valid);
    }
}

TEST(AudioBlock, ASilentInputIsClearedAndItsOutputMarkedByWhatMaySound) {
    constexpr float justSilent = 1e-10F; // as a float slightly below or at the limit in double
    const struct {
        bool processSilence;
        float value;
        BufferFlags flags;
        float written;
    } cases[] = {
        {false, 0.5F, BufferFlags::silent, 0.0F},
        {true, 0.5F, BufferFlags::valid, 0.5F},
        {true, -2e-10F, BufferFlags::valid, -2e-10F},
        {true, justSilent, static_cast<double>(justSilent) > 1e-10 ? BufferFlags::valid : BufferFlags::silent,
         justSilent},
        {true, 0.0F, BufferFlags::silent, 0.0F},
    };
    for (const auto& c : cases) {
        Block block;
        block.input.flags = BufferFlags::silent;
        block.context.processSilence = c.processSilence;
        block.effect.value = c.value;
        block.process();
        EXPECT_EQ(block.effect.firstInputSample, 0.0F) << "the chain runs, on silence";
        EXPECT_EQ(block.output.flags, c.flags) << c.value;
        EXPECT_EQ(block.out, std::vector<float>(8, c.written));
        EXPECT_EQ(block.output.validFrameCount, 4U);
    }
    Block empty;
    empty.input = {empty.in.data(), 0, BufferFlags::silent};
    empty.context.processSilence = true;
    empty.process();
    EXPECT_EQ(empty.output.flags, BufferFlags::silent);
}

TEST(AudioBlock, ComputesByItsOwnRulesAndTheCallersComeBack) {
    for (const FloatRules& callers : callersRules) {
        Block block;
        block.context.pPrevious = &block.effect;
        const FloatRules outside = FloatRules::now();
        callers.enforce();
        block.process();
        const FloatRules after = FloatRules::now();
        outside.enforce();
        EXPECT_EQ(after, callers) << callers.vector;
        EXPECT_TRUE(areOwn(block.effect.previousRules)) << callers.vector;
        EXPECT_TRUE(areOwn(block.effect.rules)) << callers.vector;
    }
}

} // namespace
