#include "settings/SettingsDiagnosis.h"

#include "chain/ChainBuilder.h"

#include <gtest/gtest.h>

#include <string>

namespace tovix {
namespace {

using enum LineOutcome;

const struct {
    std::string line;
    LineOutcome outcome;
    /// What the explanation must mention.
    std::string mention;
} cases[] = {
    {"Boost: 60 dB 1", buildsFilter, "6.0 dB with a limiter"},
    {"Boost: 300 dB 0", buildsFilter, "20.0 dB, the most"},
    {"Boost:60dB0 and more", buildsFilter, "plain boost of 6.0 dB"},
    {"Equalizer: 100 -3 1000 0 10000", buildsFilter, "2 points"},
    {"Equalizer:", buildsFilter, "flat"},
    {"Equalizer: 100 0 1000 1e999", buildsFilter, "without effect"},
    {"Equalizer: 0 3", buildsFilter, "1 point"},
    {"Maximizer: 60 dB", buildsFilter, "6.0 dB with a clean limiter at full scale"},
    {"Maximizer: 300 dB -10", buildsFilter, "20.0 dB, the most there is, with a clean limiter at -1.0 dB"},
    {"Maximizer: -300 dB", buildsFilter, "-20.0 dB, the least there is, with a clean"},
    {"Maximizer: 60 dB loud", wrongParameters, "as in \"Maximizer: 60 dB -10\""},
    {"EnableOldApo:", previousEffectOn, "previous effect runs first"},
    {"#EnableOldApo:", previousEffectOff, "no previous effect"},
    {"#Boost: 60 dB 1", switchedOff, "switched off"},
    {"  ", blank, "empty"},
    {"Boost 60 dB 1", noColon, "no colon"},
    {"boost: 60 dB 1", unknownName, "did you mean \"Boost\""},
    {" Boost: 60 dB 1", unknownName, "did you mean \"Boost\""},
    {"Equaliser: 100 1", unknownName, "did you mean \"Equalizer\""},
    {"enableoldapo:", unknownName, "did you mean \"EnableOldApo\""},
    {"Compressor: 3", unknownName, "there are \"Boost\", \"Equalizer\" and \"Maximizer\""},
    {": 60 dB 1", unknownName, "no name"},
    {"Boost: loud", wrongParameters, "level first"},
    {"Boost: 60,5 dB 1", wrongParameters, "whole tenths"},
    {"Boost: 60 db 1", wrongParameters, "\"dB\""},
    {"Boost: 60 dB", wrongParameters, "second whole number"},
};

TEST(SettingsDiagnosis, SaysWhatEachLineDoesInTheChainThatIsBuiltOrWhyNothingComesOfIt) {
    ChainBuilder builder(decodeLatin1);
    builder.configure({.sampleRateHz = 48000, .inputChannels = 1, .outputChannels = 1, .maxFrames = 64}, {});
    for (const auto& test : cases) {
        const auto diagnoses = diagnoseSettings(test.line, decodeLatin1);
        ASSERT_EQ(diagnoses.size(), 1U) << test.line;
        EXPECT_EQ(diagnoses[0].outcome, test.outcome) << test.line;
        EXPECT_NE(diagnoses[0].explanation.find(test.mention), std::string::npos)
            << test.line << ": " << diagnoses[0].explanation;
        const auto built = builder.build(test.line);
        ASSERT_TRUE(built.chain);
        EXPECT_EQ(built.chain->stageCount() == 1, test.outcome == buildsFilter) << test.line;
        EXPECT_EQ(built.previousEffect.has_value(),
                  test.outcome == previousEffectOn || test.outcome == previousEffectOff)
            << test.line;
    }
}

} // namespace
} // namespace tovix
