#include "chain/ChainBuilder.h"

#include "chain/ChannelNames.h"
#include "memory/MemoryMgr.h"

#include <gtest/gtest.h>

#include <string>

using namespace tovix;
using namespace std::string_literals;

namespace {

const StreamFormat stereo{48000.0F, 0, 2, 2, 3, 480};

BuiltChain build(const std::string& text, const StreamFormat& format = stereo, GateSwitches switches = {}) {
    ChainBuilder builder(decodeLatin1);
    builder.configure(format, switches);
    return builder.build(text);
}

TEST(ChainBuilder, EveryLineThatAFactoryKnowsBecomesAStage) {
    const struct {
        std::string text;
        std::uint64_t stages;
        std::optional<bool> previousEffect;
    } cases[] = {
        {"", 0, {}},
        {"Boost: 60 dB 1\r\nEqualizer: 100 -3 1000 0\r\nBoost: 10 dB 0\n", 3, {}},
        {"#Boost: 60 dB 1\nEnableOldApo: 1:2", 0, true},
        {"EnableOldApo :\nEnableOldApo2:\n##EnableOldApo:\nenableoldapo:", 0, {}},
        {"EnableOldApo:\n#EnableOldApo:\nEqualizer:", 1, false},
        {"Boost 60 dB 1\nboost: 60 dB 1\nBoost: loud\nNoSuchThing: 1\n:\n::", 0, {}},
        {"Boost2: 60 dB 1\nBoos: 60 dB 1\nequalizer: 60 1\nEqualizer : 60 1\nBoost : 60 dB 1\n: 60 dB 1", 0, {}},
        {"Boost: 60 dB 1\0Boost: 60 dB 1"s, 1, {}},
        {" Boost: 60 dB 1", 0, {}},
        {"Maximizer: 60 dB -10\nMaximizer: 60\nMaximizer: 60 dB loud\nmaximizer: 60 dB", 1, {}},
    };
    for (const auto& c : cases) {
        const auto built = build(c.text);
        ASSERT_TRUE(built.chain) << c.text;
        EXPECT_EQ(built.chain->stageCount(), c.stages) << c.text;
        EXPECT_EQ(built.previousEffect, c.previousEffect) << c.text;
        EXPECT_EQ(previousEffectSetting(c.text, decodeLatin1), c.previousEffect) << "without a build";
    }
    EXPECT_EQ(build("Boost: 60 dB 1\nEnableOldApo:", stereo, {true, true}).chain->stageCount(), 0U)
        << "a closed gate hides filter lines";
}

TEST(ChainBuilder, AFormatWithoutFramesOrChannelsOrMemoryGivesNoChain) {
    const auto noFrames = build("Boost: 60 dB 1\nEqualizer: 1000 3\nEnableOldApo:", {48000.0F, 0, 2, 2, 3, 0});
    EXPECT_FALSE(noFrames.chain);
    EXPECT_EQ(noFrames.previousEffect, true);
    EXPECT_FALSE(build("", {48000.0F, 0, 0, 2, 3, 480}).chain);
    EXPECT_FALSE(build("", {48000.0F, 0, 2, 0, 3, 480}).chain);
    const auto tooLarge = build("Equalizer: 1000 3\nEnableOldApo:", {48000.0F, 0, 4096, 4096, 3, 0xFFFFFFFF});
    EXPECT_FALSE(tooLarge.chain);
    EXPECT_EQ(tooLarge.previousEffect, true) << "what the text says about the previous effect holds all the same";
}

TEST(ChannelNames, FollowTheSpeakerMaskAndThenTheNumber) {
    const struct {
        std::uint32_t count;
        std::uint32_t mask;
        const wchar_t* description;
    } cases[] = {
        {2, 0x3, L"FL FR"},
        {6, 0x3F, L"FL FR FC LFE BL BR"},
        {6, 0x60F, L"FL FR FC LFE SL SR"},
        {8, 0x63F, L"FL FR FC LFE BL BR SL SR"},
        {8, 0xFF, L"FL FR FC LFE BL BR FLC FRC"},
        {3, 0x3, L"FL FR 3"},
        {2, 0, L"1 2"},
        {1, 0x3F, L"FL"},
        {4, 0x80000003, L"FL FR 3 4"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(channelDescription(channelNames(c.count, c.mask)), c.description);
    }
    EXPECT_EQ(channelNames(4096, 0x63F).size(), 4096U);
}

} // namespace
