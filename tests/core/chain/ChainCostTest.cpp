#include "chain/ChainCost.h"

#include "chain/ChainBuilder.h"
#include "chain/StagePlanner.h"
#include "filters/EffectBoost.h"
#include "support/ChosenAgain.h"
#include "support/LogCapture.h"
#include "support/Planar.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>

using namespace tovix;
using namespace tovix::test;

namespace {

std::int64_t steadyNanoseconds() noexcept {
    return std::chrono::steady_clock::now().time_since_epoch() / std::chrono::nanoseconds(1);
}

/// A clock that only the filter below moves on, by what `shareOf` says of its n-th block.
struct Script {
    double (*shareOf)(int block) = nullptr;
    StreamFormat format;
    int blocks = 0;
    double now = 0.0;
};
Script script;

std::int64_t scriptedNanoseconds() noexcept {
    return static_cast<std::int64_t>(script.now);
}

class ScriptedFilter final : public IFilter {
public:
    ChannelList setup(float, std::uint32_t, ChannelList channels) override { return channels; }
    void process(float**, float**, std::uint32_t frameCount) noexcept override {
        const double blockNs = frameCount * 1e9 / static_cast<double>(script.format.sampleRateHz);
        script.now += script.shareOf(script.blocks++) * blockNs;
    }
    [[nodiscard]] FilterPtr standIn() const noexcept override { return makeRt<ScriptedFilter>(); }
};

TEST(ChainCost, IsTheLeastOfSeveralTriesAndEndsAsSoonAsItIsKnown) {
    const StreamFormat shortBlocks{48000.0F, 0, 2, 2, 3, 128};
    const StreamFormat longBlocks{48000.0F, 0, 2, 2, 3, 4096};
    const struct {
        const char* what;
        StreamFormat format;
        double (*shareOf)(int block);
        double share;
        int mostBlocks;
    } cases[] = {
        {"an ordinary chain takes one try", shortBlocks, [](int) { return 0.01; }, 0.01, 24},
        {"one that takes half of what it may", shortBlocks, [](int) { return 0.3499; }, 0.3499, 24},
        {"a blunder of one block", shortBlocks, [](int n) { return n == 3 ? 0.6 : 0.1; }, 0.1, 48},
        {"what takes all it may", shortBlocks, [](int) { return 0.6999; }, 0.6999, 192},
        {"and a little more", shortBlocks, [](int) { return 0.7001; }, 0.7001, 192},
        {"a machine that is busy at first", shortBlocks, [](int n) { return n < 100 ? 2.0 - n % 9 / 9.0 : 0.1; }, 0.1,
         192},
        {"one that is always about to be", shortBlocks, [](int n) { return n % 5 == 0 ? 50.0 : 0.1; }, 0.1, 192},
        {"every eighth block is the expensive one", shortBlocks, [](int n) { return n % 8 == 7 ? 0.8 : 0.1; }, 0.8,
         192},
        {"a hopeless chain", shortBlocks, [](int) { return 30.0; }, 30.0, 8},
        {"long blocks", longBlocks, [](int n) { return n < 2 ? 1.2 : 0.2; }, 0.2, 3},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        script = {c.shareOf, c.format};
        StagePlanner planner(c.format);
        ASSERT_TRUE(planner.append(makeRt<ScriptedFilter>()));
        const auto chain = FilterChain::make(planner.shape(), planner.stages());
        const auto cost = measureCost(*chain, c.format, &scriptedNanoseconds);
        ASSERT_TRUE(cost);
        EXPECT_NEAR(cost->share(), c.share, 1e-4);
        EXPECT_EQ(cost->fits(), c.share <= maxBlockShare);
        EXPECT_LE(script.blocks, c.mostBlocks);
    }
}

RtPtr<FilterChain> build(std::string_view text, const StreamFormat& format) {
    ChainBuilder builder(decodeLatin1);
    builder.configure(format, {});
    return builder.build(text).chain;
}

/// What a chain makes of some blocks of a sound that its limiters have to work on.
std::vector<float> play(FilterChain& chain, const StreamFormat& format) {
    const std::size_t blockSamples = std::size_t{format.maxFrames} * format.inputChannels;
    std::vector<float> sound = noise(40 * blockSamples, 1);
    for (std::size_t first = 0; first < sound.size(); first += blockSamples) {
        chain.run(&sound[first], format.maxFrames);
        chain.writeOutput(&sound[first], format.maxFrames);
    }
    return sound;
}

TEST(ChainCost, ATrialLeavesNoTraceInTheSoundTheProcessLevelOrTheLog) {
    constexpr const char* text = "Boost: 60 dB 0\nEqualizer: 100 6 1000 -12 9000 9\nBoost: 90 dB 1\nMaximizer: 20 dB";
    const ChosenAgain atEnd;
    for (const ConvolverEngine* const pEngine : availableConvolverEngines()) {
        SCOPED_TRACE(pEngine->name);
        ASSERT_TRUE(forceConvolverEngine(pEngine->name));
        for (const StreamFormat format : {StreamFormat{48000.0F, 0, 2, 2, 3, 64}, {44100.0F, 0, 3, 3, 7, 441}}) {
            std::vector<float> heard[2];
            for (const bool tried : {false, true}) {
                EffectBoost::setProcessLevel(25);
                const auto chain = build(text, format);
                if (tried) {
                    const LogCapture log(LogLevel::Debug);
                    EXPECT_GT(measureCost(*chain, format, &steadyNanoseconds).value().blockSeconds, 0.0);
                    EXPECT_EQ(log.lines(), std::vector<std::string>{});
                }
                heard[tried] = play(*chain, format);
            }
            EXPECT_EQ(heard[1], heard[0]);
        }
    }
    EffectBoost::setProcessLevel(0);
}

TEST(ChainCost, EachFilterHasAStandInThatDoesItsWorkOnALoudSound) {
    constexpr std::uint32_t frames = 480;
    constexpr StreamFormat mono{48000.0F, 0, 1, 1, 4, frames};
    const struct {
        const char* text;
        float sample;
        float loudest;
    } cases[] = {{"Boost: 0 dB 0", 4.0F, 1.0F},
                 {"Boost: 0 dB 1", 4.0F, 1.0F},
                 {"Maximizer: 0 dB", 0.5F, 1.0F},
                 {"Equalizer:", 4.0F, 4.0F}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        const auto standIn = build(c.text, mono)->filter(0).standIn();
        ASSERT_TRUE(standIn);
        standIn->setup(48000.0F, frames, {L"FC"});
        Planar sound{std::vector<float>(frames, c.sample)};
        test::play(*standIn, sound, frames);
        EXPECT_NEAR(sound[0].back(), c.loudest, 1e-5F) << "a limiter limits, an equalizer plays its impulse";
    }
    EXPECT_FALSE(build("Equalizer: 1 9000", mono)->filter(0).standIn()) << "one that does nothing costs nothing";
}

/// Whether a sanitizer makes everything some twenty times slower.
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr bool slowedDown = true;
#else
constexpr bool slowedDown = false;
#endif

TEST(ChainCost, LetsTheWidestFormatsPassAndNoChainThatStarvesThem) {
    const StreamFormat formats[] = {
        {48000.0F, 0, 2, 2, 3, 480},       {48000.0F, 0, 2, 2, 3, 64},      {384000.0F, 0, 2, 2, 3, 3840},
        {384000.0F, 0, 2, 2, 3, 1024},     {48000.0F, 0, 8, 8, 0x63F, 128}, {96000.0F, 0, 8, 8, 0x63F, 256},
        {192000.0F, 0, 8, 8, 0x63F, 1920}, {192000.0F, 0, 16, 16, 0, 1920},
    };
    for (const auto& format : formats) {
        const std::int64_t start = steadyNanoseconds();
        const auto chain = build("Equalizer: 100 -3 1000 6\nMaximizer: 60 dB", format);
        const std::int64_t tryStart = steadyNanoseconds();
        const auto cost = measureCost(*chain, format, &steadyNanoseconds).value();
        std::printf("%2u channels, %6.0f Hz, %4u frames: %.1f %% of a block; built in %.2f ms, tried in %.2f ms\n",
                    format.inputChannels, static_cast<double>(format.sampleRateHz), format.maxFrames,
                    100.0 * cost.share(), static_cast<double>(tryStart - start) * 1e-6,
                    static_cast<double>(steadyNanoseconds() - tryStart) * 1e-6);
        EXPECT_TRUE(cost.fits() || slowedDown);
    }
    const ChosenAgain atEnd;
    ASSERT_TRUE(forceConvolverEngine("fftw"));
    const StreamFormat shortBlocks{192000.0F, 0, 8, 8, 0x63F, 16};
    std::string text;
    for (int line = 0; line < 18; ++line) {
        text += "Equalizer:1 1\n";
    }
    const auto cost = measureCost(*build(text, shortBlocks), shortBlocks, &steadyNanoseconds).value();
    std::printf("18 equalizers of 8 channels, 192000 Hz, 16 frames: %.0f %%\n", 100.0 * cost.share());
    EXPECT_FALSE(cost.fits());
    EXPECT_EQ(measureCost(*build("", shortBlocks), shortBlocks, &steadyNanoseconds).value().share(), 0.0)
        << "whatever the format, sound that passes is never refused";
}

} // namespace
