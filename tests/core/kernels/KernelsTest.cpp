#include "kernels/Kernels.h"

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

constexpr std::uint32_t mostChannels = 20;
constexpr std::array<std::uint32_t, 9> frameCounts{0, 1, 3, 4, 5, 7, 8, 64, 441};
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

TEST_P(KernelsOf, SplitInterleavedFramesIntoChannels) {
    for (std::uint32_t channelCount = 1; channelCount <= mostChannels; ++channelCount) {
        for (const std::uint32_t frames : frameCounts) {
            const std::vector<float> source = noise(channelCount * frames + 1, frames);
            const float* const interleaved = source.data() + 1;
            Planar planar{channelCount, frames};
            m_kernels.deinterleave(interleaved, planar.pointers.data(), channelCount, frames);
            for (std::uint32_t c = 0; c < channelCount; ++c) {
                for (std::uint32_t f = 0; f < frames; ++f) {
                    ASSERT_EQ(planar.pointers[c][f], interleaved[f * channelCount + c])
                        << channelCount << " channels, channel " << c << ", frame " << f << " of " << frames;
                }
                ASSERT_EQ(planar.pointers[c][frames], untouched);
            }
        }
    }
}

TEST_P(KernelsOf, JoinAndCopyChannelsAndSilenceWhatIsNotFinite) {
    using Float = std::numeric_limits<float>;
    const std::array special{HUGE_VALF,    -HUGE_VALF,      Float::quiet_NaN(),  -Float::signaling_NaN(),
                             Float::max(), Float::lowest(), Float::denorm_min(), -0.0F};
    for (std::uint32_t channelCount = 1; channelCount <= mostChannels; ++channelCount) {
        for (const std::uint32_t frames : frameCounts) {
            Planar planar{channelCount, frames};
            for (std::uint32_t c = 0; c < channelCount; ++c) {
                for (std::uint32_t f = 0; f < frames; ++f) {
                    planar.pointers[c][f] = (f + c) % 3 == 0 ? special[(f / 3 + c) % special.size()] : 0.5F;
                }
            }
            std::vector<float> joined(1 + channelCount * frames + 1, untouched);
            m_kernels.interleaveFinite(planar.pointers.data(), joined.data() + 1, channelCount, frames);
            for (std::size_t i = 0; i < std::size_t{channelCount} * frames; ++i) {
                const float sample = planar.pointers[i % channelCount][i / channelCount];
                const float expected = std::isfinite(sample) ? sample : 0.0F;
                ASSERT_EQ(std::memcmp(&joined[1 + i], &expected, sizeof expected), 0)
                    << channelCount << " channels, sample " << i << " became " << joined[1 + i];
            }
            ASSERT_EQ(joined.front(), untouched);
            ASSERT_EQ(joined.back(), untouched);
            std::vector<float> copied(frames + 1, untouched);
            m_kernels.copyFinite(planar.pointers[0], copied.data(), frames);
            for (std::size_t f = 0; f < frames; ++f) {
                ASSERT_EQ(std::memcmp(&copied[f], &joined[1 + f * channelCount], sizeof(float)), 0) << f;
            }
            ASSERT_EQ(copied.back(), untouched);
        }
    }
}

TEST_P(KernelsOf, MultiplyAndAccumulateAllBinsButTheGap) {
    for (const std::size_t blockFrames : {1U, 2U, 3U, 4U, 5U, 7U, 8U, 441U, 480U}) {
        for (const std::size_t rows : {1U, 2U, 3U, 5U}) {
            // Each spectrum starts at a multiple of four floats of one aligned block.
            const std::size_t stride = (blockFrames + 1 + 3) / 4 * 4;
            struct alignas(16) Four {
                std::array<float, 4> floats;
            };
            std::vector<Four> memory((2 + 4 * rows) * stride / 4);
            float* const pFirst = memory.front().floats.data();
            const std::vector<float> content = noise(memory.size() * 4, 3);
            std::memcpy(pFirst, content.data(), content.size() * sizeof(float));
            std::array<std::vector<float*>, 4> arrays;
            for (std::size_t i = 0; i < 4 * rows; ++i) {
                arrays[i / rows].push_back(pFirst + (2 + i) * stride);
            }
            const auto& [partitionRe, partitionIm, accRe, accIm] = arrays;
            m_kernels.multiplyAccumulate({pFirst, pFirst + stride, partitionRe.data(), partitionIm.data(),
                                          accRe.data(), accIm.data(), rows, blockFrames});
            for (std::size_t i = 0; i < rows * (blockFrames + 1); ++i) {
                const std::size_t row = i / (blockFrames + 1);
                const std::size_t bin = i % (blockFrames + 1);
                const auto offset = [&](const float* p) { return static_cast<std::size_t>(p - pFirst) + bin; };
                const bool inGap = bin >= blockFrames / 4 * 4 && bin < blockFrames;
                const std::complex<double> input{content[bin], content[stride + bin]};
                const std::complex<double> partition{content[offset(partitionRe[row])],
                                                     content[offset(partitionIm[row])]};
                std::complex<double> expected{content[offset(accRe[row])], content[offset(accIm[row])]};
                expected += inGap ? 0.0 : input * partition;
                ASSERT_NEAR(accRe[row][bin], expected.real(), 1e-6) << "B " << blockFrames << " bin " << bin;
                ASSERT_NEAR(accIm[row][bin], expected.imag(), 1e-6) << "B " << blockFrames << " bin " << bin;
            }
        }
    }
}

TEST_P(KernelsOf, ScaleAndAddAnyCountAtAnyAddress) {
    for (std::size_t start = 0; start < 4; ++start) {
        for (const std::size_t count : {0U, 1U, 3U, 4U, 7U, 64U, 441U}) {
            const std::vector<float> a = noise(start + count + 1, 4);
            const std::vector<float> b = noise(start + count + 2, 5);
            std::vector<float> scaled = a;
            std::vector<float> sum = a;
            m_kernels.applyGain(scaled.data() + start, count, 1.7F);
            m_kernels.add(sum.data() + start, b.data() + 1, sum.data() + start, count);
            for (std::size_t i = 0; i < a.size(); ++i) {
                const bool inside = i >= start && i < start + count;
                ASSERT_EQ(scaled[i], inside ? a[i] * 1.7F : a[i]) << i << " of " << count << " from " << start;
                ASSERT_EQ(sum[i], inside ? a[i] + b[i - start + 1] : a[i]) << i << " of " << count;
            }
        }
    }
}

TEST_P(KernelsOf, RaiseTheCosineOfEveryFadeAsTheFormulaDoesButForItsLastBit) {
    for (std::uint32_t fadeFrames = 1; fadeFrames <= 3840; ++fadeFrames) {
        std::vector<float> weights(fadeFrames + 6, untouched);
        m_kernels.fadeInWeights(0, fadeFrames, weights.data(), fadeFrames + 5);
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
        const std::uint32_t start = fadeFrames / 3;
        const std::uint32_t count = 1 + fadeFrames % 7;
        std::vector<float> part(count + 1, untouched);
        m_kernels.fadeInWeights(start, fadeFrames, part.data(), count);
        ASSERT_EQ(std::memcmp(part.data(), &weights[start], count * sizeof(float)), 0) << start << " " << fadeFrames;
        ASSERT_EQ(part[count], untouched);
    }
}

TEST_P(KernelsOf, FadeFromOneSignalToTheOther) {
    for (const std::size_t count : {0U, 1U, 3U, 4U, 7U, 441U}) {
        const std::vector<float> pending = noise(count + 1, 4);
        const std::vector<float> before = noise(count + 2, 5);
        std::vector<float> current = before;
        std::vector<float> weights(count + 3);
        m_kernels.fadeInWeights(0, 440, weights.data() + 3, count);
        m_kernels.crossfade(weights.data() + 3, pending.data() + 1, current.data() + 1, count);
        ASSERT_EQ(current.front(), before.front());
        ASSERT_EQ(current.back(), before.back());
        for (std::size_t i = 0; i < count; ++i) {
            const float w = weights[i + 3];
            ASSERT_EQ(current[i + 1], w * pending[i + 1] + (1.0F - w) * before[i + 1]) << i << " of " << count;
        }
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
