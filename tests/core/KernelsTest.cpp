#include "filters/kernels/Kernels.h"

#include "support/DirectConvolution.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>

using namespace tovix;
using namespace tovix::test;

namespace {

class KernelsOf : public testing::TestWithParam<const Kernels*> {
protected:
    const Kernels& m_kernels = *GetParam();
};

INSTANTIATE_TEST_SUITE_P(Sets, KernelsOf, testing::ValuesIn(availableKernels().begin(), availableKernels().end()),
                         [](const auto& instance) { return std::string{instance.param->name}; });

constexpr std::array<std::uint32_t, 6> channelCounts{1, 2, 3, 6, 8, 17};
constexpr std::array<std::uint32_t, 8> frameCounts{0, 1, 3, 4, 5, 7, 8, 441};
/// What stands where a kernel must not write.
constexpr float untouched = 12345.0F;

/// Planar channels whose starts have different alignments, each followed by one sample that must stay.
struct Planar {
    Planar(std::uint32_t channelCount, std::size_t frames) {
        const std::size_t stride = frames + 2 + (frames % 2);
        samples.assign(channelCount * stride + 1, untouched);
        for (std::uint32_t c = 0; c < channelCount; ++c) {
            pointers.push_back(samples.data() + 1 + c * stride);
        }
    }
    std::vector<float> samples;
    std::vector<float*> pointers;
};

TEST_P(KernelsOf, JoinChannelsAndSilenceWhatIsNotFinite) {
    constexpr float inf = std::numeric_limits<float>::infinity();
    const std::array<float, 8> special{inf,
                                       -inf,
                                       std::numeric_limits<float>::quiet_NaN(),
                                       -std::numeric_limits<float>::signaling_NaN(),
                                       std::numeric_limits<float>::max(),
                                       std::numeric_limits<float>::lowest(),
                                       std::numeric_limits<float>::denorm_min(),
                                       -0.0F};
    for (const std::uint32_t channelCount : channelCounts) {
        for (const std::uint32_t frames : frameCounts) {
            Planar planar{channelCount, frames};
            for (std::uint32_t c = 0; c < channelCount; ++c) {
                for (std::uint32_t f = 0; f < frames; ++f) {
                    planar.pointers[c][f] = (f + c) % 3 == 0 ? special[(f / 3 + c) % special.size()] : 0.5F;
                }
            }
            std::vector<float> joined(1 + channelCount * frames + 1, untouched);
            m_kernels.interleave(planar.pointers.data(), joined.data() + 1, channelCount, frames);
            for (std::size_t i = 0; i < std::size_t{channelCount} * frames; ++i) {
                const float sample = planar.pointers[i % channelCount][i / channelCount];
                const float expected = std::isfinite(sample) ? sample : 0.0F;
                ASSERT_EQ(std::memcmp(&joined[1 + i], &expected, sizeof expected), 0)
                    << channelCount << " channels, sample " << i << " became " << joined[1 + i];
            }
            ASSERT_EQ(joined.front(), untouched);
            ASSERT_EQ(joined.back(), untouched);
        }
    }
}

TEST_P(KernelsOf, AmplifyAPairOfChannelsUpToTheFirstFrameBeyondTheLimit) {
    constexpr float gain = 3.0F;
    constexpr std::size_t frames = 23;
    for (const float bad : {0.34F, -0.5F, std::numeric_limits<float>::quiet_NaN()}) {
        for (std::size_t at = 0; at <= frames; ++at) {
            for (const bool inRight : {false, true}) {
                std::vector<float> left(frames + 1, 0.25F);
                std::vector<float> right(frames + 1, -0.3F);
                (inRight ? right : left)[at] = bad;
                ASSERT_EQ(m_kernels.applyGainWithin(left.data(), right.data(), frames, gain, 1.0F), at);
                for (std::size_t f = 0; f < at; ++f) {
                    ASSERT_EQ(left[f], gain * 0.25F);
                    ASSERT_EQ(right[f], gain * -0.3F);
                }
                ASSERT_EQ(inRight ? left[at] : right[at], inRight ? 0.25F : -0.3F);
            }
        }
    }
}

TEST_P(KernelsOf, AmplifyInDoublePrecisionAndFindThePeakOfWhatIsFinite) {
    constexpr float inf = std::numeric_limits<float>::infinity();
    constexpr double gain = 1.9952623149688795;
    for (const std::uint32_t frames : frameCounts) {
        std::vector<float> samples = noise(frames + 2, 5);
        for (std::size_t i = 1; i + 1 < samples.size(); i += 3) {
            samples[i] = i % 2 == 0 ? -inf : std::numeric_limits<float>::quiet_NaN();
        }
        std::vector<float> expected = samples;
        float peak = 0.0F;
        for (std::size_t i = 1; i + 1 < samples.size(); ++i) {
            expected[i] = std::isfinite(samples[i]) ? samples[i] : 0.0F;
            peak = std::max(peak, std::fabs(expected[i]));
        }
        ASSERT_EQ(m_kernels.silenceNonFinite(samples.data() + 1, frames), peak);
        ASSERT_EQ(samples, expected);
        m_kernels.applyPreciseGain(samples.data() + 1, frames, gain);
        for (std::size_t i = 1; i + 1 < samples.size(); ++i) {
            ASSERT_EQ(samples[i], static_cast<float>(expected[i] * gain));
        }
    }
}

} // namespace
