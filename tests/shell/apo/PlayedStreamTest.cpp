#include "support/FloatRules.h"
#include "support/ModuleStream.h"

#include <gtest/gtest.h>

#include <limits>

namespace tovix::test {
namespace {

StreamMaker makeModuleStream(Previous previous) {
    return [previous](const StreamFormat& format, const std::string& text) {
        return std::make_unique<ModuleStream>(format, text, previous);
    };
}

TEST(ModuleStream, StaysWithinItsBuffers) {
    for (const Previous previous : {Previous::none, Previous::unwanted}) {
        expectBlocksToStayWithinTheirBuffers(makeModuleStream(previous));
    }
}

TEST(ModuleStream, StaysFiniteAndComesBack) {
    const ModuleUnderTest stays; // and with it the plain boost's level
    expectSoundToStayFiniteAndComeBack(makeModuleStream(Previous::none));
}

TEST(ModuleStream, ComputesByItsOwnRulesAndTheCallersComeBack) {
    const ModuleUnderTest stays;
    constexpr UINT32 frames = 64;
    std::vector<float> input(std::size_t{2} * frames, 0.3F);
    input[3] = std::numeric_limits<float>::quiet_NaN();
    input[8] = 1e-39F;
    input[13] = 1e38F;
    std::vector<float> expected;
    for (const FloatRules& callers : callersRules) {
        ModuleStream stream({48000, 0, 2, 2, 0, frames},
                            "Maximizer: 60 dB\nBoost: 5 dB 0\nEqualizer: 100 -3 1000 6\nBoost: 60 dB 1");
        std::vector<float> sound;
        for (int block = 0; block < 40; ++block) {
            std::vector<float> output(input.size());
            const FloatRules outside = FloatRules::now();
            callers.enforce();
            stream.effect.play(input.data(), output.data(), frames);
            const FloatRules after = FloatRules::now();
            outside.enforce();
            ASSERT_EQ(after, callers) << callers.vector;
            sound.insert(sound.end(), output.begin(), output.end());
        }
        expected = expected.empty() ? sound : expected;
        EXPECT_EQ(sound, expected) << callers.vector;
    }
}

} // namespace
} // namespace tovix::test
