#include "convolution/PartitionedConvolver.h"

#include "support/DirectConvolution.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

using namespace tovix;
using namespace tovix::test;

namespace {

/// Runs a signal of whole blocks through the convolver, each block in place.
void convolve(PartitionedConvolver& convolver, std::vector<float>& samples, std::size_t blockFrames) {
    for (std::size_t start = 0; start < samples.size(); start += blockFrames) {
        convolver.pushInput(samples.data() + start);
        convolver.accumulate();
        convolver.popOutput(samples.data() + start);
    }
}

TEST(PartitionedConvolver, GivesTheDirectConvolutionLessTheGapFromTheFirstSampleOn) {
    const struct {
        std::uint32_t blockFrames;
        std::size_t taps;
    } cases[] = {{1, 1},       {1, 300},     {2, 9},       {3, 3},        {7, 1000},     {63, 1000}, {128, 16384},
                 {441, 1},     {441, 882},   {441, 16384}, {479, 958},    {480, 1},      {480, 960}, {480, 961},
                 {480, 16384}, {512, 16384}, {1009, 3000}, {1024, 16384}, {20000, 16384}};
    for (const auto& [blockFrames, taps] : cases) {
        const std::vector<float> h = noise(taps, 1);
        PartitionedConvolver convolver;
        ASSERT_TRUE(convolver.init(h, blockFrames));
        // Long enough for every slot of the ring to be used twice, up to a point.
        const std::size_t blocks = std::min<std::size_t>(2 * (taps / blockFrames) + 5, 700);
        const std::vector<float> x = noise(blocks * blockFrames, 2);
        std::vector<float> y = x;
        convolve(convolver, y, blockFrames);

        const GappedConvolution oracle{x, h, blockFrames};
        RelativeError error;
        for (std::size_t t = 0; t < y.size(); t += 1 + y.size() / 400) {
            error.add(y[t], oracle.at(t));
        }
        EXPECT_LT(error.rms(), 1e-6) << taps << " taps in blocks of " << blockFrames;
    }
}

TEST(PartitionedConvolver, TakesSamplesThatAreNotFiniteAsSilenceAndSoundsRightOnceAnOverflowHasPassed) {
    constexpr std::uint32_t blockFrames = 16;
    const std::vector<float> h = noise(100, 1);
    const std::vector<float> sound = noise(40 * blockFrames, 2);
    for (const std::size_t overflows : {0U, 3 * blockFrames}) {
        std::vector<float> mended = sound;
        std::fill_n(mended.begin(), overflows, std::numeric_limits<float>::max());
        mended[203] = mended[220] = mended[247] = 0.0F;
        std::vector<float> y = mended;
        y[203] = NAN;
        y[220] = HUGE_VALF;
        y[247] = -HUGE_VALF;
        PartitionedConvolver convolver;
        ASSERT_TRUE(convolver.init(h, blockFrames));
        convolve(convolver, y, blockFrames);
        RelativeError error;
        for (std::size_t t = overflows == 0 ? 0 : overflows + h.size() + 2 * blockFrames; t < y.size(); ++t) {
            error.add(y[t], convolvedAt<float>(mended, h, t));
        }
        EXPECT_LT(error.rms(), 1e-6) << overflows;
    }
}

TEST(PartitionedConvolver, RefusesWhatCannotBeConvolved) {
    const std::vector<float> h(4);
    PartitionedConvolver convolver;
    EXPECT_FALSE(convolver.init({}, 480));
    EXPECT_FALSE(convolver.init(h, 0));
    EXPECT_FALSE(convolver.init(h, PartitionedConvolver::maxBlockFrames + 1));
    EXPECT_TRUE(convolver.init(h, 480));
}

} // namespace
