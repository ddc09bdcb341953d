#include "stream/AudioBlock.h"

#include <gtest/gtest.h>

#include <xmmintrin.h>

#include <algorithm>
#include <vector>

using namespace tovix;

namespace {

/// Writes a given value, and keeps what it was handed and how often the previous effect ran before.
class Recorder : public IOwnEffect, public IPreviousEffect {
public:
    void process(float* output, const float* input, std::uint32_t frameCount) noexcept override {
        lastInput = input;
        firstInputSample = frameCount > 0 ? *input : 0.0F;
        controlWord = _mm_getcsr();
        previousCallsBefore = previousCalls;
        std::fill_n(output, std::size_t{frameCount} * 2, value);
    }
    void processBlock() noexcept override {
        previousControlWord = _mm_getcsr();
        _mm_setcsr(0x1F80); // it need not leave things as it found them
        ++previousCalls;
    }

    float value = 0.5F;
    const float* lastInput = nullptr;
    float firstInputSample = -1.0F;
    unsigned controlWord = 0;
    unsigned previousControlWord = 0;
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

TEST(AudioBlock, DenormalsCountAsZeroInsideAndTheCallersControlWordComesBack) {
    constexpr unsigned flushBits = 0x8040;
    for (const bool flushedBefore : {false, true}) {
        const unsigned before = (_mm_getcsr() & ~flushBits) | (flushedBefore ? flushBits : 0U);
        const unsigned outside = _mm_getcsr();
        _mm_setcsr(before);
        Block block;
        block.context.pPrevious = &block.effect;
        block.process();
        const unsigned after = _mm_getcsr();
        _mm_setcsr(outside);
        EXPECT_EQ(block.effect.previousControlWord & flushBits, flushBits);
        EXPECT_EQ(block.effect.controlWord & flushBits, flushBits);
        EXPECT_EQ(after, before);
    }
}

} // namespace
