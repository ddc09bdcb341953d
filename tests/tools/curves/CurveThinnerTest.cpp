#include "curves/CurveThinner.h"

#include "support/DrawnCurve.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace tovix {
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
