#include "support/FloatRules.h"
#include "support/ModuleStream.h"
#include "support/SystemThread.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <limits>
#include <random>

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

TEST(ModuleStream, PlaysOnWhileTheEnginesOtherThreadAsksIt) {
    ModuleStream stream({48000, 0, 2, 2, 0, 480}, "Boost: 60 dB 0");
    std::vector<float> input(960, 0.25F);
    for (int settling = 0; settling < 50; ++settling) {
        stream.effect.process(input, 2, 2);
    }
    const float gain = stream.effect.process(input, 2, 2).back() / 0.25F;
    EXPECT_NEAR(gain, 1.9953F, 1e-4F);
    std::minstd_rand random;
    const auto isBoosted = [&] {
        std::ranges::generate(input, [&] { return static_cast<float>(random()) * 0x1p-32F; });
        const auto output = stream.effect.process(input, 2, 2);
        return std::ranges::equal(input, output, {}, [gain](float sample) { return gain * sample; });
    };
    const auto references = [&] {
        stream.effect.unknown->AddRef();
        return stream.effect.unknown->Release();
    };
    const ULONG before = references();
    std::atomic<int> rounds{0};
    std::atomic<bool> isOver{false};
    SystemThread asking([&] {
        for (; !isOver; ++rounds) {
            for (const IID* const pIid : {&IID_IUnknown, &IID_IAudioProcessingObjectRT, &IID_IAudioSystemEffects}) {
                void* pFound = nullptr;
                ASSERT_EQ(stream.effect.apo->QueryInterface(*pIid, &pFound), S_OK);
                static_cast<IUnknown*>(pFound)->Release();
            }
            FormatDouble stereo(floatFormat(2));
            ASSERT_EQ(negotiate(*stream.effect.apo, &stereo, &stereo).result, S_OK);
            HNSTIME latency = 1;
            ASSERT_EQ(stream.effect.apo->GetLatency(&latency), S_OK);
            ASSERT_EQ(stream.module.canUnloadNow(), S_FALSE);
        }
    });
    int blocks = 0;
    int others = 0;
    EXPECT_TRUE(becomesTrue([&] {
        for (const int end = blocks + 100; blocks < end; ++blocks) {
            others += isBoosted() ? 0 : 1;
            for (int reference = 0; reference < 50; ++reference) {
                references();
            }
        }
        return rounds >= 10000 && blocks >= 2000;
    }));
    isOver = true;
    asking.join();
    EXPECT_EQ(others, 0);
    EXPECT_EQ(references(), before);
}

} // namespace
} // namespace tovix::test
