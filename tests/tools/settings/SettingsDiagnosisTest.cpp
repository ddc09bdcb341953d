#include "settings/SettingsDiagnosis.h"

#include "chain/ChainBuilder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tovix {
namespace {

struct Case {
    std::string line;
    LineOutcome outcome;
    /// What the explanation must mention.
    std::string mention;
};

const std::vector<Case> cases{
    {"Boost: 60 dB 1", LineOutcome::buildsFilter, "6.0 dB with a limiter"},
    {"Boost: 300 dB 0", LineOutcome::buildsFilter, "20.0 dB, the most"},
    {"Boost:60dB0 and more", LineOutcome::buildsFilter, "plain boost of 6.0 dB"},
    {"Equalizer: 100 -3 1000 0 10000", LineOutcome::buildsFilter, "2 points"},
    {"Equalizer: 100 -3", LineOutcome::buildsFilter, "1 point"},
    {"Equalizer:", LineOutcome::buildsFilter, "flat"},
    {"Equalizer: 0 3 1000 6", LineOutcome::buildsFilter, "2 points"},
    {"Equalizer: 100 0 1000 1e999", LineOutcome::buildsFilter, "without effect"},
    {"Equalizer: 0 3", LineOutcome::buildsFilter, "1 point"},
    {"Maximizer: 60 dB", LineOutcome::buildsFilter, "6.0 dB with a clean limiter at full scale"},
    {"Maximizer: 300 dB -10", LineOutcome::buildsFilter,
     "20.0 dB, the most there is, with a clean limiter at -1.0 dB"},
    {"Maximizer: -300 dB", LineOutcome::buildsFilter, "-20.0 dB, the least there is, with a clean"},
    {"Maximizer: 60 dB loud", LineOutcome::wrongParameters, "as in \"Maximizer: 60 dB -10\""},
    {"Maximiser: 60 dB", LineOutcome::unknownName, "did you mean \"Maximizer\""},
    {"EnableOldApo:", LineOutcome::previousEffectOn, "previous effect runs first"},
    {"#EnableOldApo:", LineOutcome::previousEffectOff, "no previous effect"},
    {"#Boost: 60 dB 1", LineOutcome::switchedOff, "switched off"},
    {"# a remark", LineOutcome::switchedOff, "switched off"},
    {"  ", LineOutcome::blank, "empty"},
    {"Boost 60 dB 1", LineOutcome::noColon, "no colon"},
    {"EnableOldApo", LineOutcome::noColon, "no colon"},
    {"boost: 60 dB 1", LineOutcome::unknownName, "did you mean \"Boost\""},
    {" Boost: 60 dB 1", LineOutcome::unknownName, "did you mean \"Boost\""},
    {"Equaliser: 100 1", LineOutcome::unknownName, "did you mean \"Equalizer\""},
    {"enableoldapo:", LineOutcome::unknownName, "did you mean \"EnableOldApo\""},
    {"Compressor: 3", LineOutcome::unknownName, "there are \"Boost\", \"Equalizer\" and \"Maximizer\""},
    {": 60 dB 1", LineOutcome::unknownName, "no name"},
    {"Boost: loud", LineOutcome::wrongParameters, "level first"},
    {"Boost: 60,5 dB 1", LineOutcome::wrongParameters, "whole tenths"},
    {"Boost: 60 db 1", LineOutcome::wrongParameters, "\"dB\""},
    {"Boost: 60 dB", LineOutcome::wrongParameters, "second whole number"},
};

TEST(SettingsDiagnosis, SaysWhatEachLineDoesOrWhyNothingComesOfIt) {
    for (const auto& test : cases) {
        const auto diagnoses = diagnoseSettings(test.line, decodeLatin1);
        ASSERT_EQ(diagnoses.size(), 1U) << test.line;
        EXPECT_EQ(diagnoses[0].outcome, test.outcome) << test.line;
        EXPECT_NE(diagnoses[0].explanation.find(test.mention), std::string::npos)
            << test.line << ": " << diagnoses[0].explanation;
    }
}

TEST(SettingsDiagnosis, LevelAndCeilingAreAlsoGivenAsTheEffectHoldsThem) {
    const auto maximizer = diagnoseSettings("Maximizer: -300 dB -300", decodeLatin1).front();
    EXPECT_EQ(maximizer.maximizer->level, -300);
    EXPECT_EQ(maximizer.levelTenths, -200);
    EXPECT_EQ(maximizer.ceilingTenths, -200);
    EXPECT_EQ(diagnoseSettings("Boost: 300 dB 0", decodeLatin1).front().levelTenths, 200);
    EXPECT_EQ(diagnoseSettings("Boost: 300 dB 1", decodeLatin1).front().levelTenths, 300);
}

TEST(SettingsDiagnosis, AgreesWithTheChainThatIsBuilt) {
    ChainBuilder builder(decodeLatin1);
    builder.configure({.sampleRateHz = 48000, .inputChannels = 1, .outputChannels = 1, .maxFrames = 64}, {});
    for (const auto& test : cases) {
        const auto built = builder.build(test.line);
        ASSERT_TRUE(built.chain);
        EXPECT_EQ(built.chain->stageCount() == 1, test.outcome == LineOutcome::buildsFilter) << test.line;
        EXPECT_EQ(built.previousEffect.has_value(),
                  test.outcome == LineOutcome::previousEffectOn || test.outcome == LineOutcome::previousEffectOff)
            << test.line;
    }
}

} // namespace
} // namespace tovix
