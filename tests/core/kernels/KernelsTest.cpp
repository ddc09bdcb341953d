#include "kernels/Kernels.h"
#include "convolution/SpectrumRows.h"

#include "support/ChosenAgain.h"
#include "support/DirectConvolution.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>

using namespace tovix;
using namespace tovix::test;

namespace {

class KernelsOf : public testing::TestWithParam<const Kernels*> {
protected:
    const Kernels& m_kernels = *GetParam();
};

INSTANTIATE_TEST_SUITE_P(Sets, KernelsOf, testing::ValuesIn(availableKernels()), byName);

constexpr std::uint32_t mostChannels = 20;
constexpr std::array<std::uint32_t, 9> frameCounts{0, 1, 3, 4, 5, 7, 8, 64, 441};
/// What stands where a kernel must not write.
constexpr float untouched = 12345.0F;

/// Whether they are the same to the bit, which says more than `==` of zeros and of what is not a number.
bool areSame(float a, float b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

TEST_P(KernelsOf, SplitFramesIntoChannelsAndJoinAndCopyThemAndSilenceWhatIsNotFinite) {
    using Float = std::numeric_limits<float>;
    const std::array special{HUGE_VALF,    -HUGE_VALF,      Float::quiet_NaN(),  -Float::signaling_NaN(),
                             Float::max(), Float::lowest(), Float::denorm_min(), -0.0F};
    for (std::uint32_t channelCount = 1; channelCount <= mostChannels; ++channelCount) {
        for (const std::uint32_t frames : frameCounts) {
            const std::size_t count = std::size_t{channelCount} * frames;
            std::vector<float> source = noise(1 + count + 1, frames);
            std::size_t replaced = 0;
            for (float& sample : source) {
                sample = sample > 0.2F ? special[replaced++ % special.size()] : sample;
            }
            // Starts of different alignments, each channel followed by one sample that must stay.
            const std::size_t stride = frames + 2 + (frames % 2);
            std::vector<float> split(channelCount * stride + 1, untouched);
            std::vector<float*> channels;
            while (channels.size() < channelCount) {
                channels.push_back(&split[1 + channels.size() * stride]);
            }
            m_kernels.deinterleave(source.data() + 1, channels.data(), channelCount, frames);
            std::vector<float> joined(1 + count + 1, untouched);
            m_kernels.interleaveFinite(channels.data(), joined.data() + 1, channelCount, frames);
            for (std::size_t i = 0; i < count; ++i) {
                const float sample = source[1 + i];
                ASSERT_TRUE(areSame(channels[i % channelCount][i / channelCount], sample))
                    << channelCount << " channels, sample " << i << " of " << count;
                ASSERT_TRUE(areSame(joined[1 + i], std::isfinite(sample) ? sample : 0.0F))
                    << channelCount << " channels, sample " << i << " became " << joined[1 + i];
            }
            ASSERT_EQ(joined.front(), untouched);
            ASSERT_EQ(joined.back(), untouched);
            for (const float* const pChannel : channels) {
                ASSERT_EQ(pChannel[frames], untouched);
            }
            std::vector<float> copied(frames + 1, untouched);
            m_kernels.copyFinite(channels[0], copied.data(), frames);
            for (std::size_t f = 0; f < frames; ++f) {
                ASSERT_TRUE(areSame(copied[f], joined[1 + f * channelCount])) << f;
            }
            ASSERT_EQ(copied.back(), untouched);
        }
    }
}

TEST_P(KernelsOf, MultiplyAndAccumulateAllBinsButTheGap) {
    for (const std::size_t blockFrames : {1U, 2U, 3U, 4U, 5U, 7U, 8U, 441U, 480U}) {
        for (const std::size_t rows : {1U, 2U, 3U, 5U}) {
            const SpectrumRows input = SpectrumRows::make(1, blockFrames + 1);
            const SpectrumRows partitions = SpectrumRows::make(rows, blockFrames + 1);
            const SpectrumRows sums = SpectrumRows::make(rows, blockFrames + 1);
            for (const SpectrumRows* const pRows : {&input, &partitions, &sums}) {
                std::ranges::copy(noise(pRows->bins.size(), 3), pRows->bins.data());
            }
            const std::vector<float> before(sums.bins.data(), sums.bins.data() + sums.bins.size());
            m_kernels.multiplyAccumulate({input.re[0], input.im[0], partitions.re.data(), partitions.im.data(),
                                          sums.re.data(), sums.im.data(), rows, blockFrames});
            for (std::size_t i = 0; i < rows * (blockFrames + 1); ++i) {
                const std::size_t row = i / (blockFrames + 1);
                const std::size_t bin = i % (blockFrames + 1);
                const auto at = [bin](const float* re, const float* im) {
                    return std::complex<double>{re[bin], im[bin]};
                };
                const bool inGap = bin >= blockFrames / 4 * 4 && bin < blockFrames;
                const auto product = at(input.re[0], input.im[0]) * at(partitions.re[row], partitions.im[row]);
                const auto first = before.data() - sums.bins.data();
                const auto expected = at(sums.re[row] + first, sums.im[row] + first) + (inGap ? 0.0 : product);
                ASSERT_LT(std::abs(at(sums.re[row], sums.im[row]) - expected), 1e-6)
                    << "B " << blockFrames << " bin " << bin;
            }
        }
    }
}

TEST_P(KernelsOf, ScaleAddAndFadeAnyCountAtAnyAddress) {
    for (std::size_t start = 0; start < 4; ++start) {
        for (const std::size_t count : {0U, 1U, 3U, 4U, 7U, 64U, 441U}) {
            const std::vector<float> a = noise(start + count + 1, 4);
            const std::vector<float> b = noise(start + count + 2, 5);
            std::vector<float> scaled = a;
            std::vector<float> sum = a;
            std::vector<float> faded = a;
            std::vector<float> weights(count + 3);
            m_kernels.applyGain(scaled.data() + start, count, 1.7F);
            m_kernels.add(sum.data() + start, b.data() + 1, sum.data() + start, count);
            m_kernels.fadeInWeights(0, 440, weights.data() + 3, count);
            m_kernels.crossfade(weights.data() + 3, b.data() + 1, faded.data() + start, count);
            for (std::size_t i = 0; i < a.size(); ++i) {
                const bool inside = i >= start && i < start + count;
                const float other = inside ? b[i - start + 1] : 0.0F;
                const float weight = inside ? weights[i - start + 3] : 0.0F;
                ASSERT_EQ(scaled[i], inside ? a[i] * 1.7F : a[i]) << i << " of " << count << " from " << start;
                ASSERT_EQ(sum[i], a[i] + other) << i << " of " << count << " from " << start;
                ASSERT_EQ(faded[i], weight * other + (1.0F - weight) * a[i]) << i << " of " << count;
            }
        }
    }
}

TEST_P(KernelsOf, RaiseTheCosineOfEveryFadeAsTheFormulaDoesButForItsLastBit) {
    for (std::uint32_t fadeFrames = 1; fadeFrames <= 3840; ++fadeFrames) {
        std::vector<float> weights(fadeFrames + 6, untouched);
        const std::uint32_t start = fadeFrames / 3; // of a second block
        m_kernels.fadeInWeights(0, fadeFrames, weights.data(), start);
        m_kernels.fadeInWeights(start, fadeFrames, weights.data() + start, fadeFrames + 5 - start);
        std::vector<float> whole(fadeFrames + 6, untouched);
        m_kernels.fadeInWeights(0, fadeFrames, whole.data(), fadeFrames + 5);
        ASSERT_EQ(weights, whole) << "wherever a block ends";
        for (std::uint32_t p = 0; p < fadeFrames; ++p) {
            const float angle = static_cast<float>(p) * 3.1415927F / static_cast<float>(fadeFrames);
            const float expected = (1.0F - std::cos(angle)) * 0.5F;
            const float lastBit = expected < 0.5F ? 0x1p-25F : 0x1p-24F;
            if (!(std::fabs(weights[p] - expected) <= lastBit)) {
                FAIL() << weights[p] << " and not " << expected << ", frame " << p << " of " << fadeFrames;
            }
        }
        ASSERT_EQ(weights.front(), 0.0F);
        ASSERT_EQ(weights[fadeFrames], 1.0F);
        ASSERT_EQ(weights[fadeFrames + 4], 1.0F);
        ASSERT_EQ(weights[fadeFrames + 5], untouched);
    }
}

TEST_P(KernelsOf, AmplifyAPairOfChannelsUpToTheFirstFrameBeyondTheLimit) {
    constexpr float gain = 3.0F;
    constexpr std::size_t frames = 23;
    for (const float bad : {0.34F, -0.5F, NAN}) {
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
    constexpr double gain = 1.9952623149688795;
    for (const std::uint32_t frames : frameCounts) {
        std::vector<float> samples = noise(frames + 2, 5);
        for (std::size_t i = 1; i + 1 < samples.size(); i += 3) {
            samples[i] = i % 2 == 0 ? -HUGE_VALF : NAN;
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
