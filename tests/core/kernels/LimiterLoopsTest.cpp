#include "kernels/LimiterLoops.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <string>

using namespace tovix;

namespace {

class LimiterLoopsOf : public testing::TestWithParam<const LimiterLoops*> {
protected:
    /// The factor for a peak whose level stands that far above a threshold of 0: the peak to the power of `gain`.
    [[nodiscard]] double powerOf(float peak, double gain) const {
        std::array<float, 16> peaks{peak};
        std::array<double, 16> factors{};
        constexpr double beyondAll = 1100.0;
        LimiterState state{beyondAll, 0.0, beyondAll, 0.0, 0.0};
        GetParam()->limit({1.0, 0.0, gain, 0.0}, state, peaks.data(), 1, factors.data());
        return factors[0];
    }
};

INSTANTIATE_TEST_SUITE_P(Sets, LimiterLoopsOf,
                         testing::ValuesIn(availableLimiterLoops().begin(), availableLimiterLoops().end()),
                         [](const auto& instance) { return std::string{instance.param->name}; });

TEST_P(LimiterLoopsOf, TakeLogarithmsAndPowersInDoublePrecision) {
    constexpr double logarithmError = 3e-16;
    constexpr double powerError = 1e-15;
    for (double peak = 1.0; peak < 1.5; peak += 1e-4) {
        const auto p = static_cast<float>(peak);
        const double expected = std::pow(static_cast<double>(p), -32.0);
        ASSERT_NEAR(powerOf(p, -32.0) / expected, 1.0, 32.0 * logarithmError + 3 * powerError) << p;
    }
    for (float p = 1.0F; p < std::numeric_limits<float>::max() / 1.1F; p *= 1.01F) {
        const double level = std::max(1.0, std::log2(static_cast<double>(p)));
        ASSERT_NEAR(powerOf(p, -1.0) * static_cast<double>(p), 1.0, logarithmError * level + powerError) << p;
    }
    for (int octaves = 0; octaves < 16; ++octaves) {
        for (double gain = 0.0; gain > -2.0; gain -= 0.01) {
            const double expected = std::exp2(gain * octaves);
            ASSERT_NEAR(powerOf(std::exp2f(static_cast<float>(octaves)), gain) / expected, 1.0, powerError)
                << octaves;
        }
    }
    EXPECT_EQ(powerOf(1.0F, -32.0), 1.0);
    EXPECT_LT(powerOf(std::nextafter(1.0F, 2.0F), -32.0), 1.0);
    EXPECT_LT(powerOf(std::numeric_limits<float>::max(), -100.0), 1e-300);
}

} // namespace
