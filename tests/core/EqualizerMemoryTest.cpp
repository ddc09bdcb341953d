#include "filters/EffectEqualizer.h"

#include "support/DirectConvolution.h"
#include "support/MallocRefusal.h"

#include <gtest/gtest.h>

using namespace tovix;
using namespace tovix::test;

namespace {

TEST(EqualizerMemory, AnySingleRefusalLeavesTheEqualizerInertAndLosesNothing) {
    constexpr std::uint32_t blockFrames = 48;
    const std::vector<float> sound = noise(blockFrames, 1);
    bool refused = true;
    int requests = 0;
    while (refused) {
        const MallocRefusal refusal{++requests};
        {
            EffectEqualizer equalizer{{{100.0, -3.0}, {1000.0, 6.0}}, 256};
            equalizer.setup(48000.0F, blockFrames, {L"L", L"R"});
            refused = MallocRefusal::happened();
            ASSERT_EQ(equalizer.channelCount(), refused ? 0U : 2U) << "request " << requests;
            std::vector<float> left = sound;
            std::vector<float> right = sound;
            float* channels[]{left.data(), right.data()};
            equalizer.process(channels, channels, blockFrames);
            ASSERT_EQ(left == sound && right == sound, refused) << "request " << requests;
        }
        ASSERT_EQ(MallocRefusal::blocksHeld(), 0) << "request " << requests;
    }
    // Work arrays, taps, records, and at least ten buffers for each of the two channels.
    EXPECT_GT(requests, 24) << "the refusals must reach every allocation of the set-up";
}

TEST(EqualizerMemory, SetsUpAgainAfterARefusal) {
    EffectEqualizer equalizer{{}, 256};
    {
        const MallocRefusal refusal{9};
        equalizer.setup(48000.0F, 480, {L"L"});
        ASSERT_TRUE(MallocRefusal::happened());
    }
    equalizer.setup(48000.0F, 480, {L"L"});
    EXPECT_EQ(equalizer.channelCount(), 1U);
}

} // namespace
