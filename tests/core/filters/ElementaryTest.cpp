#include "filters/Elementary.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace tovix;

namespace {

TEST(Elementary, LogarithmsAgreeWithTheLibrarys) {
    for (double x = 1e-300; x < 1e300; x *= 1.37) {
        EXPECT_NEAR(naturalLog(x), std::log(x), 3e-16 * std::max(1.0, std::fabs(std::log(x)))) << x;
    }
    for (const double x : {1.0, 1.0 + 1e-9, 1.0 - 1e-9, 0.5, 2.0, std::sqrt(2.0)}) {
        EXPECT_DOUBLE_EQ(naturalLog(x), std::log(x)) << x;
    }
    EXPECT_EQ(naturalLog(0.0), -std::numeric_limits<double>::infinity());
    EXPECT_TRUE(std::isnan(naturalLog(-1.0)));
    EXPECT_EQ(naturalLog(std::numeric_limits<double>::infinity()), std::numeric_limits<double>::infinity());
    EXPECT_DOUBLE_EQ(naturalLog(1e-310), std::log(1e-310));
}

TEST(Elementary, ExponentialsAgreeWithTheLibrarys) {
    for (double re = -199.0; re < 200.0; re += 7.3) {
        for (double im = -999.0; im < 1000.0; im += 12.345) {
            const std::complex<double> expected = std::polar(std::exp(re), im);
            EXPECT_LT(std::abs(exponential({re, im}) - expected), 1e-12 * std::exp(re)) << re << " " << im;
        }
    }
    for (int eighths = -40; eighths <= 40; ++eighths) {
        const double im = 0.39269908169872414 * eighths;
        EXPECT_LT(std::abs(exponential({0.0, im}) - std::polar(1.0, im)), 1e-12) << eighths;
    }
    EXPECT_TRUE(std::isinf(static_cast<float>(exponential({1e9, 0.0}).real())));
    EXPECT_LT(exponential({-1e9, 0.0}).real(), 1e-80);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_TRUE(std::isnan(exponential({nan, 0.0}).real()));
    EXPECT_TRUE(std::isnan(exponential({0.0, nan}).real()));
}

} // namespace
