#include "filters/EffectBoost.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

using namespace tovix;

namespace {

using Planar = std::vector<std::vector<float>>;

class Boosted {
public:
    Boosted(std::int32_t level, bool dynamicsMode, std::size_t channels, float sampleRateHz = 48000.0F)
        : filter(level, dynamicsMode) {
        filter.setup(sampleRateHz, 1U << 20U, ChannelList(channels, L"x"));
    }
    void process(Planar& block) {
        std::vector<float*> pointers;
        for (auto& channel : block) {
            pointers.push_back(channel.data());
        }
        filter.process(pointers.data(), pointers.data(), static_cast<std::uint32_t>(block.front().size()));
    }
    /// One frame with the same sample in every channel; the first channel's result.
    float frame(float sample, std::size_t channels) {
        Planar block(channels, std::vector<float>{sample});
        process(block);
        return block.front().front();
    }

    EffectBoost filter;
};

double gainOf(double tenths) {
    return std::pow(10.0, tenths / 200.0);
}

class PlainBoost : public testing::Test {
protected:
    void SetUp() override { EffectBoost::setProcessLevel(0); }
};

TEST_F(PlainBoost, RampsByOneDecibelABlockToItsTargetAndGoesOnFromThereInTheNextFilter) {
    Boosted first(125, false, 1);
    for (const int tenths : {10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 110, 120, 125, 125}) {
        EXPECT_FLOAT_EQ(first.frame(0.01F, 1), static_cast<float>(0.01 * gainOf(tenths)));
    }
    Boosted second(104, false, 2);
    for (const int tenths : {115, 105, 104}) {
        EXPECT_FLOAT_EQ(second.frame(0.01F, 2), static_cast<float>(0.01 * gainOf(tenths)));
    }
    Boosted same(104, false, 1);
    EXPECT_FLOAT_EQ(same.frame(0.01F, 1), static_cast<float>(0.01 * gainOf(104))) << "gain ready at the first block";
}

TEST_F(PlainBoost, HoldsEveryLevelBetweenNothingAndTwentyDecibels) {
    constexpr auto most = std::numeric_limits<std::int32_t>::max();
    constexpr auto least = std::numeric_limits<std::int32_t>::min();
    for (const std::int32_t level : {201, 1000000, most, -1, -200, least}) {
        EffectBoost::setProcessLevel(level > 0 ? 0 : 200);
        Boosted boost(level, false, 1);
        for (int block = 0; block < 25; ++block) {
            boost.frame(0.5F, 1);
        }
        EXPECT_FLOAT_EQ(boost.frame(0.5F, 1), level > 0 ? 5.0F : 0.5F) << level;
    }
}

TEST_F(PlainBoost, StereoFramesFarBeyondFullScaleLowerTheTargetForGood) {
    EffectBoost::setProcessLevel(200);
    Boosted boost(200, false, 2);
    Planar block{{1.0F, 0.5F, 0.5F}, {-1.0F, 1.5F, 0.5F}};
    boost.process(block);
    EXPECT_EQ(block[0][0], 10.0F) << "ten times full scale is inside the guard";
    // 1.5 passes the guard at 16.4 dB: four steps down from 20 dB.
    EXPECT_FLOAT_EQ(block[1][1], static_cast<float>(1.5 * gainOf(160)));
    EXPECT_FLOAT_EQ(block[0][2], static_cast<float>(0.5 * gainOf(160)));
    EXPECT_FLOAT_EQ(boost.frame(0.5F, 2), static_cast<float>(0.5 * gainOf(160))) << "it does not climb back";
}

TEST_F(PlainBoost, AStereoFrameThatNoBoostCouldCarryEndsTheBlockAsItCameIn) {
    for (const float bad : {50.0F, std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN()}) {
        EffectBoost::setProcessLevel(95);
        Boosted boost(95, false, 2);
        Planar block{{0.1F, bad, 0.1F}, {0.1F, 0.2F, 0.1F}};
        boost.process(block);
        EXPECT_FLOAT_EQ(block[0][0], static_cast<float>(0.1 * gainOf(95)));
        EXPECT_EQ(block[1][1], 0.2F);
        EXPECT_EQ(block[0][2], 0.1F);
        EXPECT_EQ(boost.frame(0.1F, 2), 0.1F) << "later blocks pass unamplified";
    }
    EffectBoost::setProcessLevel(200);
    Boosted boost(430, false, 2);
    Planar block{{50.0F}, {0.0F}};
    boost.process(block);
    EXPECT_FLOAT_EQ(block[0][0], static_cast<float>(50.0 * gainOf(180)))
        << "25 tries lower the target to 18 dB; then the frame is stored whatever it is";
}

TEST_F(PlainBoost, EveryChannelGetsTheSameGain) {
    for (const std::size_t channels : {1U, 2U, 3U, 33U}) {
        EffectBoost::setProcessLevel(60);
        Boosted boost(60, false, channels);
        Planar block(channels, std::vector<float>(441, 0.01F));
        boost.process(block);
        for (const auto& channel : block) {
            for (const float sample : channel) {
                ASSERT_FLOAT_EQ(sample, static_cast<float>(0.01 * gainOf(60))) << channels << " channels";
            }
        }
    }
}

/// The limiter written out per frame in long double, straight from its definition and with no shortcut.
class ReferenceLimiter {
public:
    ReferenceLimiter(double boostDb, double sampleRateHz) : m_rate(sampleRateHz) {
        m_preGain = std::pow(10.0L, boostDb / 20.0L);
        const long double ratio = 2.0L + 0.05L * boostDb;
        m_ratio = ratio >= 2.0L && ratio <= 3.0L ? ratio : 2.0L;
    }
    void frame(std::vector<long double>& samples) {
        long double peak = 0.0L;
        for (auto& sample : samples) {
            sample *= m_preGain;
            peak = std::max(peak, std::fabs(sample));
        }
        const long double level = 20.0L * std::log10(peak + 1e-25L);
        if (level > m_envelope) {
            m_envelope = level;
            m_threshold = std::min(m_threshold, -level / (m_ratio - 1.0L));
            m_releaseFrom = level;
        } else if (m_envelope > 0.0L) {
            const long double next = std::max(m_envelope - m_releaseFrom / (5.0L * m_rate), 0.0L);
            if (level <= next) {
                m_envelope = next;
                m_threshold = -next / (m_ratio - 1.0L);
            }
        }
        if (level > m_threshold) {
            const long double reductionDb = (1.0L / m_ratio - 1.0L) * (level - m_threshold);
            for (auto& sample : samples) {
                sample *= std::pow(10.0L, reductionDb / 20.0L);
            }
        }
    }

private:
    long double m_rate;
    long double m_preGain;
    long double m_ratio;
    long double m_envelope = 0.0L;
    long double m_threshold = 0.0L;
    long double m_releaseFrom = 0.0L;
};

Planar noise(std::size_t channels, std::size_t frames, unsigned seed) {
    std::mt19937 random(seed);
    std::normal_distribution<float> sample(0.0F, 1.0F);
    Planar block(channels, std::vector<float>(frames));
    for (std::size_t f = 0; f < frames; ++f) {
        // A slow swell, so that attack, hold and release all take part.
        const float swell = 0.6F * (1.0F + std::sin(static_cast<float>(f) * 0.0007F));
        for (auto& channel : block) {
            channel[f] = swell * swell * sample(random);
        }
    }
    return block;
}

TEST(DynamicsBoost, FollowsTheReferenceLimiterAtEveryChannelCount) {
    for (const std::size_t channels : {1U, 2U, 17U}) {
        for (const int level : {0, 60, 200, 250, -60, 10000, 53000}) {
            // A short "second" makes the release visible within the test.
            constexpr float rate = 600.0F;
            Boosted boost(level, true, channels, rate);
            ReferenceLimiter reference(level / 10.0, rate);
            Planar block = noise(channels, 6000, static_cast<unsigned>(level + 100));
            const Planar input = block;
            boost.process(block);
            for (std::size_t f = 0; f < input[0].size(); ++f) {
                std::vector<long double> expected;
                for (const auto& channel : input) {
                    expected.push_back(channel[f]);
                }
                reference.frame(expected);
                for (std::size_t c = 0; c < channels; ++c) {
                    ASSERT_NEAR(block[c][f], static_cast<double>(expected[c]), 1e-6)
                        << channels << " channels, level " << level << ", frame " << f;
                    ASSERT_LE(std::fabs(block[c][f]), 1.0F + 2e-7F);
                }
            }
        }
    }
}

TEST(DynamicsBoost, NoSampleAndNoLevelBreaksTheSoundForLonger) {
    constexpr float inf = std::numeric_limits<float>::infinity();
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    for (const std::size_t channels : {1U, 2U, 5U}) {
        for (const float bad : {inf, -inf, nan}) {
            Boosted boost(60, true, channels);
            EXPECT_EQ(boost.frame(bad, channels), 0.0F);
            EXPECT_FLOAT_EQ(boost.frame(0.25F, channels), static_cast<float>(0.25 * gainOf(60)));
        }
    }
    for (const std::int32_t level :
         {std::numeric_limits<std::int32_t>::max(), std::numeric_limits<std::int32_t>::min()}) {
        Boosted boost(level, true, 2);
        for (const float sample : {0.0F, 1.0F, std::numeric_limits<float>::max(), 1e-30F}) {
            const float result = boost.frame(sample, 2);
            EXPECT_TRUE(std::isfinite(result) && std::fabs(result) <= 1.0F + 2e-7F) << level << ' ' << sample;
        }
    }
}

} // namespace
