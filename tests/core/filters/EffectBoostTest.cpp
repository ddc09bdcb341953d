#include "filters/EffectBoost.h"

#include "support/Planar.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

using namespace tovix;
using namespace tovix::test;

namespace {

class Boosted {
public:
    Boosted(std::int32_t level, std::size_t channels) : m_filter(level, false), m_channels(channels) {
        m_filter.setup(48000.0F, 5, ChannelList(channels, L"x"));
    }
    void process(Planar& block) { play(m_filter, block, block.front().size()); }
    /// What becomes of a block with the same sample everywhere.
    float block(float sample) {
        Planar block(m_channels, std::vector<float>(5, sample));
        process(block);
        EXPECT_EQ(block, Planar(m_channels, std::vector<float>(5, block[0][0])));
        return block[0][0];
    }

private:
    EffectBoost m_filter;
    std::size_t m_channels;
};

/// `sample` at a level.
float at(double tenths, double sample) {
    return static_cast<float>(sample * std::pow(10.0, tenths / 200.0));
}

class PlainBoost : public testing::Test {
protected:
    void SetUp() override { EffectBoost::setProcessLevel(0); }
};

TEST_F(PlainBoost, RampsByOneDecibelABlockToItsTargetAndGoesOnFromThereInTheNextFilter) {
    Boosted first(125, 3);
    for (const int tenths : {10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 110, 120, 125, 125}) {
        EXPECT_FLOAT_EQ(first.block(0.01F), at(tenths, 0.01));
    }
    Boosted second(104, 2);
    for (const int tenths : {115, 105, 104}) {
        EXPECT_FLOAT_EQ(second.block(0.01F), at(tenths, 0.01));
    }
    Boosted same(104, 33);
    EXPECT_FLOAT_EQ(same.block(0.01F), at(104, 0.01)) << "gain ready at the first block";
}

TEST_F(PlainBoost, HoldsEveryLevelBetweenNothingAndTwentyDecibels) {
    using Level = std::numeric_limits<std::int32_t>;
    for (const std::int32_t level : {201, 1000000, Level::max(), -1, -200, Level::min()}) {
        EffectBoost::setProcessLevel(level > 0 ? 0 : 200);
        Boosted boost(level, 1);
        for (int block = 0; block < 25; ++block) {
            boost.block(0.5F);
        }
        EXPECT_FLOAT_EQ(boost.block(0.5F), level > 0 ? 5.0F : 0.5F) << level;
    }
}

TEST_F(PlainBoost, StereoFramesFarBeyondFullScaleLowerTheTargetForGood) {
    EffectBoost::setProcessLevel(200);
    Boosted boost(200, 2);
    Planar block{{1.0F, 0.5F, 0.5F}, {-1.0F, 1.5F, 0.5F}};
    boost.process(block);
    EXPECT_EQ(block[0][0], 10.0F) << "ten times full scale is inside the guard";
    // 1.5 passes the guard at 16.4 dB: four steps down from 20 dB.
    EXPECT_FLOAT_EQ(block[1][1], at(160, 1.5));
    EXPECT_FLOAT_EQ(block[0][2], at(160, 0.5));
    EXPECT_FLOAT_EQ(boost.block(0.5F), at(160, 0.5)) << "it does not climb back";
}

TEST_F(PlainBoost, AStereoFrameThatNoBoostCouldCarryEndsTheBlockAsItCameIn) {
    for (const float bad : {50.0F, HUGE_VALF, NAN}) {
        EffectBoost::setProcessLevel(95);
        Boosted boost(95, 2);
        Planar block{{0.1F, bad, 0.1F}, {0.1F, 0.2F, 0.1F}};
        boost.process(block);
        EXPECT_FLOAT_EQ(block[0][0], at(95, 0.1));
        EXPECT_EQ(block[1][1], 0.2F);
        EXPECT_EQ(block[0][2], 0.1F);
        EXPECT_EQ(boost.block(0.1F), 0.1F) << "later blocks pass unamplified";
    }
    EffectBoost::setProcessLevel(200);
    Boosted boost(430, 2);
    Planar block{{50.0F}, {0.0F}};
    boost.process(block);
    EXPECT_FLOAT_EQ(block[0][0], at(180, 50.0))
        << "25 tries lower the target to 18 dB; then the frame is stored whatever it is";
}

} // namespace
