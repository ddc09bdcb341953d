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

    void process() {
        const bool isMarked = processBlock(effect, context, input, output);
        EXPECT_EQ(isMarked, output.flags != BufferFlags::invalid);
    }
};

TEST(AudioBlock, IsLeftAloneProcessedOrClearedAndMarkedByItsFlagsAndByWhatMaySound) {
    constexpr float justSilent = 1e-10F; // as a float slightly below or at the limit in double
    constexpr auto atTheLimit = static_cast<double>(justSilent) > 1e-10 ? BufferFlags::valid : BufferFlags::silent;
    const struct {
        std::uint32_t flags;
        bool processSilence;
        float value;
        BufferFlags outputFlags;
        float written;
    } cases[] = {
        {0, true, 0.5F, BufferFlags::invalid, -1.0F},
        {3, true, 0.5F, BufferFlags::invalid, -1.0F},
        {0x80000000, true, 0.5F, BufferFlags::invalid, -1.0F},
        {1, false, 0.5F, BufferFlags::valid, 0.5F},
        {1, true, 0.0F, BufferFlags::valid, 0.0F},
        {2, false, 0.5F, BufferFlags::silent, 0.0F},
        {2, true, 0.5F, BufferFlags::valid, 0.5F},
        {2, true, -2e-10F, BufferFlags::valid, -2e-10F},
        {2, true, justSilent, atTheLimit, justSilent},
        {2, true, 0.0F, BufferFlags::silent, 0.0F},
    };
    for (const auto& c : cases) {
        for (const bool previous : {false, true}) {
            SCOPED_TRACE(testing::Message() << "flags " << c.flags << ", " << c.value << ", previous " << previous);
            const bool isProcessed = c.outputFlags != BufferFlags::invalid;
            Block block;
            block.input.flags = static_cast<BufferFlags>(c.flags);
            block.context.processSilence = c.processSilence;
            block.context.pPrevious = previous ? &block.effect : nullptr;
            block.effect.value = c.value;
            block.process();
            const float* const pHanded = previous ? block.out.data() : block.in.data();
            EXPECT_EQ(block.effect.lastInput, isProcessed ? pHanded : nullptr);
            EXPECT_EQ(block.effect.previousCalls, isProcessed && previous ? 1 : 0);
            EXPECT_EQ(block.effect.previousCallsBefore, block.effect.previousCalls) << "it comes first";
            EXPECT_EQ(block.output.validFrameCount, isProcessed ? 4U : 77U);
            EXPECT_EQ(block.output.flags, c.outputFlags);
            EXPECT_EQ(block.in, std::vector<float>(8, c.flags == 2 ? 0.0F : 0.25F));
            EXPECT_EQ(block.out, std::vector<float>(8, c.written));
        }
    }
    Block empty;
    empty.input = {empty.in.data(), 0, BufferFlags::silent};
    empty.context.processSilence = true;
    empty.process();
    EXPECT_EQ(empty.output.flags, BufferFlags::silent);
    empty.input.samples = nullptr;
    empty.output.flags = BufferFlags::valid;
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
