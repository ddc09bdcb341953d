#include "filters/EffectBoost.h"
#include "filters/EffectFactoryBoost.h"
#include "filters/EffectFactoryMaximizer.h"
#include "filters/EffectFactoryStep.h"
#include "filters/ParameterText.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

using namespace tovix;

namespace {

FilterList offer(IFilterFactory& factory, const std::wstring& parameters, std::wstring name = L"Boost") {
    return factory.createFilter(name, parameters, name + L":" + parameters);
}

/// What the one filter of `filters` makes of one frame of one channel.
float firstFrameThrough(const FilterList& filters, float sample) {
    filters.at(0)->setup(48000.0F, 1, {L"x"});
    float* channel = &sample;
    filters.at(0)->process(&channel, &channel, 1);
    return sample;
}

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
        {L"60 dB -", 1, 60, 0},
        {L"120,5 dB 1", 1, 120, 0},
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
    std::wstring ofOneFrequency;
    for (int i = 0; i < 60; ++i) {
        ofOneFrequency += L"7 7 ";
    }
    const auto points = parseResponsePoints(ofOneFrequency);
    EXPECT_EQ(std::count_if(points.begin(), points.end(), [](const auto& p) { return p.frequencyHz == p.gainDb; }),
              60);
}

TEST(FilterFactories, OnlyASecondNumberOfOneAsksForTheLimiterAndABoostThatDoesNotParseIsLogged) {
    EffectFactoryBoost boost;
    EffectBoost::setProcessLevel(0);
    EXPECT_FLOAT_EQ(firstFrameThrough(offer(boost, L"60 dB 1"), 0.1F), 0.1F * std::pow(10.0F, 0.3F));
    EXPECT_FLOAT_EQ(firstFrameThrough(offer(boost, L"60 dB 2"), 0.1F), 0.1F * std::pow(10.0F, 0.05F)) << "a ramp";
    const test::LogCapture capture(LogLevel::Error);
    EXPECT_TRUE(offer(boost, L"120,5 dB 1").empty());
    ASSERT_EQ(capture.lines().size(), 1U);
    EXPECT_TRUE(capture.lines()[0].ends_with("[EffectFactoryBoost::createFilter@EffectFactoryBoost:30] "
                                             "Couldn't create boost filter. Params mismatch=1"))
        << capture.lines()[0];
}

TEST(FilterFactories, AMaximizerIsMadeOfItsOwnLineOnlyAndOneThatDoesNotParseIsLogged) {
    EffectFactoryMaximizer maximizer;
    EXPECT_FLOAT_EQ(firstFrameThrough(offer(maximizer, L"60 dB -20", L"Maximizer"), 0.1F),
                    0.1F * std::pow(10.0F, 0.3F));
    EXPECT_FLOAT_EQ(firstFrameThrough(offer(maximizer, L"60 dB -20", L"Maximizer"), 3.0F), std::pow(10.0F, -0.1F));
    const test::LogCapture capture(LogLevel::Error);
    EXPECT_TRUE(offer(maximizer, L"60 dB -20", L"maximizer").empty());
    EXPECT_TRUE(capture.lines().empty()) << "a name that is not its own says nothing";
    EXPECT_TRUE(offer(maximizer, L"60 dB louder", L"Maximizer").empty());
    ASSERT_EQ(capture.lines().size(), 1U);
    EXPECT_TRUE(capture.lines()[0].ends_with(
        "Couldn't create maximizer filter. No level in dB, or something else than a ceiling after it."))
        << capture.lines()[0];
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
