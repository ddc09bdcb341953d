#include "filters/EffectBoost.h"
#include "filters/EffectFactoryBoost.h"
#include "filters/EffectFactoryEqualizer.h"
#include "filters/EffectFactoryMaximizer.h"
#include "filters/EffectFactoryStep.h"
#include "filters/ParameterText.h"
#include "support/LogCapture.h"
#include "support/Planar.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace tovix;

namespace {

TEST(ParameterText, ABoostIsTwoIntegersAroundTheUnit) {
    constexpr auto most = std::numeric_limits<std::int32_t>::max();
    constexpr auto least = std::numeric_limits<std::int32_t>::min();
    const struct {
        const wchar_t* text;
        std::uint32_t fields;
        std::int32_t level = 0;
        std::int32_t mode = 0;
    } cases[] = {
        {L" 60 dB 1", 2, 60, 1},
        {L"60dB1", 2, 60, 1},
        {L"\t-15 \n dB +2 and more", 2, -15, 2},
        {L"60 dB 1.5", 2, 60, 1},
        {L"60 db 1", 1, 60, 0},
        {L"60 dB", 1, 60, 0},
        {L"120.5 dB 1", 1, 120, 0},
        {L"0x10 dB 1", 1, 0, 0},
        {L"- 6 dB 1", 0, 0, 0},
        {L"", 0, 0, 0},
        {L"99999999999999999999 dB -99999999999999999999", 2, most, least},
        {L"-2147483648 dB 2147483647", 2, least, most},
    };
    for (const auto& c : cases) {
        const auto parameters = parseBoostParameters(c.text);
        EXPECT_EQ(parameters.fieldCount, c.fields) << testing::PrintToString(std::wstring(c.text));
        EXPECT_EQ(parameters.level, c.level);
        EXPECT_EQ(parameters.mode, c.mode);
    }
}

TEST(ParameterText, AMaximizerIsALevelInDecibelsAndPerhapsACeiling) {
    for (const auto* const text : {L"", L"x", L"90", L"90 db", L"90,5 dB", L"90 dB x", L"90 dB -", L"dB 90"}) {
        EXPECT_FALSE(parseMaximizerParameters(text)) << testing::PrintToString(std::wstring(text));
    }
    const struct {
        const wchar_t* text;
        std::int32_t level;
        std::int32_t ceiling;
    } cases[] = {
        {L" 90 dB", 90, 0}, {L"90dB \t\r", 90, 0}, {L"-15 dB -10", -15, -10}, {L"+9 dB -1.5 and more", 9, -1}};
    for (const auto& c : cases) {
        const auto parameters = parseMaximizerParameters(c.text);
        ASSERT_TRUE(parameters) << testing::PrintToString(std::wstring(c.text));
        EXPECT_EQ(parameters->level, c.level);
        EXPECT_EQ(parameters->ceiling, c.ceiling);
    }
}

TEST(ParameterText, AResponseIsEveryPairOfNumbersInTheText) {
    using Points = std::vector<std::pair<double, double>>;
    const struct {
        const wchar_t* text;
        Points points;
    } cases[] = {
        {L" 100 -3 1000 0 10000 6", {{100, -3}, {1000, 0}, {10000, 6}}},
        {L"10000 6;100 -3;1000 0", {{100, -3}, {1000, 0}, {10000, 6}}},
        {L"100;-3;1000", {{100, -3}}},
        {L"7 7 7 7 7 7 7 7 7 7 7 7 7 7 7 7 7 7 7 7 7 7 7 7 7 7 7 7 7 7 7 7 7 7 7 7 7 7 7 7", Points(20, {7, 7})},
        {L"1,5 2", {{1.5, 2}}},
        {L"1,5 2.0", {{1, 5}}},
        {L"20 Hz: -3.5dB, 1e3 Hz: +.5e1dB", {{20, -3.5}, {1000, 5}}},
        {L"nothing here", {{0, 0}}}, // both letters "e" are runs that hold no number
        {L"--5 1-2 3 4", {{0, 1}, {3, 4}}},
        {L"1e999 1e-999", {{HUGE_VAL, 0}}},
        {L"100", {}},
        {L"", {}},
    };
    for (const auto& c : cases) {
        Points read;
        for (const auto& point : parseResponsePoints(c.text)) {
            read.emplace_back(point.frequencyHz, point.gainDb);
        }
        EXPECT_EQ(read, c.points) << testing::PrintToString(std::wstring(c.text));
    }
}

TEST(FilterFactories, MakeAFilterOfTheirOwnLinesAndLogThoseThatDoNotParse) {
    EffectFactoryBoost boost;
    EffectFactoryEqualizer equalizer;
    EffectFactoryMaximizer maximizer;
    const struct {
        IFilterFactory& factory;
        const wchar_t* name;
        const wchar_t* parameters;
        float sample;
        double expected;
        const char* logged = "";
    } cases[] = {
        {boost, L"Boost", L"60 dB 1", 0.1F, 0.1 * std::pow(10.0, 0.3)},
        {boost, L"Boost", L"60 dB 2", 0.1F, 0.1 * std::pow(10.0, 0.05)}, // a ramp
        {boost, L"Boost", L"120,5 dB 1", 0.1F, 0.1,
         "[EffectFactoryBoost::createFilter@EffectFactoryBoost:30] Couldn't create boost filter. Params mismatch=1"},
        {equalizer, L"Equalizer", L"1000 6", 0.1F, 0.1 * std::pow(10.0, 0.3)},
        {maximizer, L"Maximizer", L"60 dB -20", 0.1F, 0.1 * std::pow(10.0, 0.3)},
        {maximizer, L"Maximizer", L"60 dB -20", 3.0F, std::pow(10.0, -0.1)},
        {maximizer, L"maximizer", L"60 dB -20", 3.0F, 3.0},
        {maximizer, L"Maximizer", L"60 dB louder", 3.0F, 3.0,
         "Couldn't create maximizer filter. No level in dB, or something else than a ceiling after it."},
    };
    EffectBoost::setProcessLevel(0);
    for (const auto& c : cases) {
        const std::string logged = c.logged;
        const test::LogCapture capture(LogLevel::Error);
        std::wstring name = c.name;
        test::Planar sound{std::vector<float>(4, c.sample)};
        for (const FilterPtr& filter : c.factory.createFilter(name, c.parameters, name + L":" + c.parameters)) {
            filter->setup(48000.0F, 4, {L"x"});
            test::play(*filter, sound, 4);
        }
        EXPECT_NEAR(sound[0][0], c.expected, 1e-6) << testing::PrintToString(std::wstring(c.parameters));
        ASSERT_EQ(capture.lines().size(), logged.empty() ? 0U : 1U) << logged;
        EXPECT_TRUE(logged.empty() || capture.lines()[0].ends_with(logged)) << capture.lines()[0];
    }
}

TEST(FilterFactories, TheGateKeepsItsStateOverSectionsAndForgetsItWithTheBuild) {
    EffectFactoryStep gate;
    const auto isOpen = [&] {
        std::wstring name = L"Boost";
        return gate.createFilter(name, L"", L"").empty() && !name.empty();
    };
    gate.beginBuild();
    gate.saveState();
    gate.configure({true, true});
    EXPECT_TRUE(isOpen()) << "the switches count from the next build on";
    gate.restoreState();
    EXPECT_TRUE(isOpen());
    gate.beginBuild();
    gate.restoreState();
    EXPECT_FALSE(isOpen()) << "the states of an earlier build are gone";
}

} // namespace
