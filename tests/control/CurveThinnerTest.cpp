#include "CurveThinner.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace tovix::control {
namespace {

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

/// The definition written out: straight lines in dB over the logarithm of frequency, flat ends.
double drawn(const Points& points, double frequencyHz) {
    if (frequencyHz <= points.front().frequencyHz) {
        return points.front().gainDb;
    }
    for (std::size_t i = 1; i < points.size(); ++i) {
        const auto& a = points[i - 1];
        const auto& b = points[i];
        if (frequencyHz <= b.frequencyHz) {
            return a.gainDb + (b.gainDb - a.gainDb) * std::log(frequencyHz / a.frequencyHz) /
                                  std::log(b.frequencyHz / a.frequencyHz);
        }
    }
    return points.back().gainDb;
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
            largest = std::max(largest, std::abs(drawn(kept, point.frequencyHz) - point.gainDb));
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

TEST(CurveThinner, PointsOnStraightLinesAreLeftOutWithoutAnyChange) {
    Points curve;
    for (int i = 0; i <= 10; ++i) {
        curve.push_back({100.0 * std::exp2(i), 3.0 - std::abs(i - 5)});
    }
    const auto thinned = thinCurve(curve, [](const Points& points) { return points.size() <= 3; });
    ASSERT_TRUE(thinned);
    ASSERT_EQ(thinned->points.size(), 3U);
    EXPECT_EQ(thinned->points[1].frequencyHz, 3200.0);
    EXPECT_LT(thinned->deviationDb, 1e-9);
}

TEST(CurveThinner, ACurveForWhichThereIsNoRoomAtAllIsNotThinned) {
    EXPECT_FALSE(thinCurve(randomCurve(1, 5), [](const Points&) { return false; }));
    EXPECT_FALSE(thinCurve({}, [](const Points&) { return true; }));
}

TEST(CurveThinner, TheLongestCurveThatIsTakenKeepsWithinItsTolerance) {
    std::minstd_rand random(3);
    Points curve;
    for (std::size_t i = 0; i < largestCurve; ++i) {
        curve.push_back({10.0 + static_cast<double>(i) * 10.0, static_cast<double>(random() % 100) / 10.0});
    }
    const auto thinned = thinCurve(curve, [](const Points& points) { return points.size() <= 20; });
    ASSERT_TRUE(thinned);
    for (const auto& point : curve) {
        ASSERT_LE(std::abs(drawn(thinned->points, point.frequencyHz) - point.gainDb), thinned->deviationDb + 1e-9);
    }
}

} // namespace
} // namespace tovix::control
