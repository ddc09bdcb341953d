#include "filters/ResponseInterpolator.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

using namespace tovix;

namespace {

const std::vector<ResponsePoint> decades{{100.0, -20.0}, {1000.0, 0.0}, {10000.0, 10.0}};

TEST(ResponseInterpolator, IsLinearInDecibelsOverTheLogarithmAndFlatOutside) {
    struct Case {
        std::vector<ResponsePoint> points;
        double frequencyHz;
        double gainDb;
    };
    const double halfDecade = std::sqrt(10.0);
    const std::vector<Case> cases{
        {{}, 1000.0, 0.0},
        {{{500.0, 3.0}}, 0.0, 3.0},
        {{{500.0, 3.0}}, 500.0, 3.0},
        {{{500.0, 3.0}}, 20000.0, 3.0},
        {decades, 0.0, -20.0},
        {decades, 99.0, -20.0},
        {decades, 100.0, -20.0},
        {decades, 100.0 * halfDecade, -10.0},
        {decades, 1000.0, 0.0},
        {decades, 1000.0 * halfDecade, 5.0},
        {decades, 10000.0, 10.0},
        {decades, 24000.0, 10.0},
        {{{100.0, 1.0}, {100.0, 7.0}, {400.0, 9.0}}, 200.0, 8.0},
        {{{100.0, 1.0}, {100.0, 7.0}}, 50.0, 1.0},
        {{{100.0, 1.0}, {100.0, 7.0}}, 150.0, 7.0},
    };
    for (const Case& c : cases) {
        EXPECT_NEAR(ResponseInterpolator{c.points}.gainDb(c.frequencyHz), c.gainDb, 1e-9) << c.frequencyHz << " Hz";
    }
}

} // namespace
