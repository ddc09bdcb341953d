#include "curves/CurveReader.h"

#include "curves/CurveThinner.h"
#include "support/DrawnCurve.h"
#include "tools/RefusalOf.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>

namespace tovix {
namespace {

std::string shown(const Points& points) {
    std::string text;
    for (const auto& point : points) {
        text += std::to_string(point.frequencyHz) + "=" + std::to_string(point.gainDb) + " ";
    }
    return text;
}

double gainAt(const WantedCurve& curve, double frequencyHz) {
    return ResponseInterpolator(curve.exact).gainDb(frequencyHz);
}

TEST(CurveReader, ReadsTheSamePointsFromEveryCommonSpelling) {
    const auto wanted = shown({{20.0, -3.1}, {1000.0, 0.0}, {10000.5, 6.0}});
    const char* const files[] = {
        "20 -3.1\n1000 0\n10000.5 6\n",
        "20\t-3.1\r\n1000\t0\r\n10000.5\t6",
        "20,-3.1\n1000,0\n10000.5,6",
        "20, -3.1\n1000, 0\n10000.5, 6",
        "20;-3,1\n1000;0\n10000,5;6",
        "\xEF\xBB\xBF# measured\n\n20 -3.10\n1000 +0\n1.00005e4 6.0",
        "GraphicEQ: 20 -3.1; 1000 0; 10000.5 6",
        "# from elsewhere\nGraphicEQ: 20 -3.1;1000 0;10000.5 6;\n",
        "Preamp: -2 dB\nGraphicEQ: 20 -1.1; 1000 2; 10000.5 8",
    };
    for (const auto* const file : files) {
        EXPECT_EQ(shown(readCurve(file).points), wanted) << file;
        EXPECT_FALSE(readCurve(file).computed);
    }
    for (const auto* const list : {"20 -3.1 1000 0 10000.5 6", "20, -3.1, 1000, 0, 10000.5, 6",
                                   "20 -3,1; 1000 0; 10000,5 6", "GraphicEQ: 20 -3.1; 1000 0; 10000.5 6"}) {
        EXPECT_EQ(shown(readPointList(list).points), wanted) << list;
    }
}

TEST(CurveReader, RefusesWhatItCannotReadAndSaysWhere) {
    const struct {
        const char* text;
        const char* reason;
    } cases[] = {
        {"20 -3\n30 abc", "line 2: \"abc\" cannot"},
        {"20 -3\n1,000 2", "line 2: \"1,000\" cannot"},
        {"20 -3 0.5", "line 1: \"20 -3 0.5\" is no point"},
        {"20", "line 1: \"20\" is no point"},
        {"20 nan", "\"nan\" cannot"},
        {"20 0x10", "\"0x10\" cannot"},
        {"20 1e999", "\"1e999\" cannot"},
        {"", "There is no curve"},
        {"Filter 1: OFF PK Fc 100 Hz Gain 3 dB Q 1", "There is no curve"},
        {"GraphicEQ: 20 1\nGraphicEQ: 20 1", "line 2: these are points for a second time"},
        {"GraphicEQ: 20 1\n30 1", "line 2: these are points for a second time"},
        {"Channel: L\n20 1", "line 1: \"Channel\" lines are not understood"},
        {"Filter: ON LP Fc 100 Hz", "kind \"LP\""},
        {"Filter: ON LSC 12 dB Fc 100 Hz Gain 3 dB", "\"12\" is none of a filter's values"},
        {"Filter: ON HS Fc 100 Hz Gain 3 dB", "needs its Q"},
        {"Filter: ON PK Fc 100 Hz Gain 3 dB BW Oct 1", "\"BW\" is none"},
        {"Filter: ON PK Fc 100 Hz Q 1", "no Gain"},
        {"Filter: ON HSC Gain 3 dB Q 1", "no frequency (Fc)"},
        {"Filter: ON PK Fc 100 Hz Gain 3 dB Q 1 Gain 6 dB", "its Gain twice"},
        {"Filter: ON PK Fc 30000 Hz Gain 3 dB Q 1", "below 24000 Hz"},
        {"Filter: ON PK Fc 1 kHz Gain 3 dB Q 1", "\"kHz\" where \"Hz\""},
        {"Filter: maybe", "ON or OFF"},
        {"Preamp: loud", "line 1: \"loud\" cannot"},
        {"GraphicEQ: 100 1; 50 2\nFilter: ON PK Fc 100 Hz Gain 3 dB Q 1", "out of order"},
    };
    for (const auto& c : cases) {
        const std::string refusal = test::refusalOf([&c] { readCurve(c.text); });
        EXPECT_NE(refusal.find(c.reason), std::string::npos) << refusal << "\nof: " << c.text;
    }
    EXPECT_THROW(readCurve(std::string("2\0000\000", 4)), Refusal);
    EXPECT_THROW(readPointList("20 1 30"), Refusal);
    EXPECT_THROW(readPointList("20,1,30,2"), Refusal);
}

TEST(CurveReader, ANarrowPeakIsPartOfTheCurveThatAThinningIsMeasuredBy) {
    const auto peak = readCurve("Filter 1: ON PK Fc 1003 Hz Gain -12 dB Q 2000");
    EXPECT_NEAR(deviationDb(peak.exact, Points{{1000.0, 0.0}}), 12.0, 0.01);
}

// Closed forms of the cookbook's sections: a peak has its gain at its centre and half of it, in dB, where
// |f/fc - fc/f| = 1/Q on the analogue side, which the bilinear transform hardly bends at a low frequency; a shelf has
// half its gain at its middle and all of it far on its side.
TEST(CurveReader, ParametricSectionsHaveTheirGainWhereTheyShould) {
    const double half = std::sqrt(1.0 + 1.0 / 16.0);
    const struct {
        const char* filter;
        std::vector<ResponsePoint> points;
    } cases[] = {
        {"PK Fc 100 Hz Gain -6.0 dB Q 2.0",
         {{100.0, -6.0}, {100.0 * (half + 0.25), -3.0}, {100.0 * (half - 0.25), -3.0}, {10000.0, 0.0}}},
        {"LSC Fc 1000 Hz Gain 8 dB Q 0.71", {{1000.0, 4.0}, {12.0, 8.0}, {20000.0, 0.0}}},
        {"HS Fc 1000 Hz Gain 8 dB Q 0.71", {{1000.0, 4.0}, {12.0, 0.0}, {20000.0, 8.0}}},
    };
    for (const auto& c : cases) {
        const auto curve = readCurve(std::string("Filter 1: ON ") + c.filter);
        for (const auto& point : c.points) {
            EXPECT_NEAR(gainAt(curve, point.frequencyHz), point.gainDb, 0.01)
                << c.filter << " at " << point.frequencyHz;
        }
    }
}

TEST(CurveReader, PartsOfAParametricListAddUp) {
    const auto sum = readCurve("Preamp: -2 dB\nFilter 1: ON PK Fc 100 Hz Gain 4 dB Q 1\n"
                               "Filter 2: OFF PK Fc 100 Hz Gain 9 dB Q 1\nFilter 3: OFF None\n"
                               "Filter 4: ON PEQ Fc 100,0 Hz Gain 1,5 dB Q 1,41\nGraphicEQ: 50 1; 200 1");
    EXPECT_TRUE(sum.computed);
    EXPECT_NEAR(gainAt(sum, 100.0), -2.0 + 4.0 + 1.5 + 1.0, 0.01);
    EXPECT_LT(deviationDb(sum.exact, sum.points), 0.06) << "rounding to a tenth of a dB";
}

Points randomCurve(unsigned seed, std::size_t count) {
    std::minstd_rand random(seed);
    std::uniform_real_distribution<double> ratio(1.1, 2.0);
    std::uniform_real_distribution<double> gain(-12.0, 12.0);
    Points curve;
    for (double frequencyHz = 20.0; curve.size() < count; frequencyHz *= ratio(random)) {
        curve.push_back({frequencyHz, gain(random)});
    }
    return curve;
}

/// Tries every choice of at most `count` points.
double smallestDeviation(const Points& curve, int count) {
    double smallest = INFINITY;
    for (unsigned choice = 1; choice < 1U << curve.size(); ++choice) {
        if (__builtin_popcount(choice) > count) {
            continue;
        }
        Points kept;
        for (std::size_t i = 0; i < curve.size(); ++i) {
            if ((choice >> i & 1U) != 0) {
                kept.push_back(curve[i]);
            }
        }
        double largest = 0.0;
        for (const auto& point : curve) {
            largest = std::max(largest, std::abs(test::drawnDb(kept, point.frequencyHz) - point.gainDb));
        }
        smallest = std::min(smallest, largest);
    }
    return smallest;
}

TEST(CurveThinner, NoChoiceOfPointsIsCloserToTheCurve) {
    for (unsigned seed = 1; seed <= 12; ++seed) {
        const Points curve = randomCurve(seed, 11);
        for (const std::size_t count : {1U, 2U, 4U, 7U}) {
            const auto thinned = thinCurve(curve, [count](const Points& points) { return points.size() <= count; });
            ASSERT_TRUE(thinned);
            EXPECT_LE(thinned->points.size(), count);
            EXPECT_NEAR(thinned->deviationDb, smallestDeviation(curve, static_cast<int>(count)), 2e-4)
                << "seed " << seed << ", " << count << " points";
        }
    }
}

TEST(CurveThinner, ACurveForWhichThereIsNoRoomAtAllIsNotThinned) {
    EXPECT_FALSE(thinCurve(randomCurve(1, 5), [](const Points&) { return false; }));
    EXPECT_FALSE(thinCurve({}, [](const Points&) { return true; }));
}

} // namespace
} // namespace tovix
