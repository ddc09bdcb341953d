#include "convolution/ConvolverEngine.h"
#include "convolution/PartitionedConvolver.h"

#include "support/ChosenAgain.h"
#include "support/Planar.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <span>
#include <string>

using namespace tovix;
using namespace tovix::test;

namespace {

class ConvolverEngineOf : public testing::TestWithParam<const ConvolverEngine*> {
protected:
    /// The signals' convolutions with `h`, whole blocks of them, each block in place.
    static void convolve(const ConvolverEngine& engine, const std::vector<float>& h, std::uint32_t blockFrames,
                         Planar& signals) {
        const auto pConvolver = engine.make({h, blockFrames, static_cast<std::uint32_t>(signals.size())});
        ASSERT_TRUE(pConvolver);
        for (std::size_t start = 0; start < signals[0].size(); start += blockFrames) {
            std::vector<float*> channels = channelsFrom(signals, start);
            pConvolver->process(channels.data(), channels.data());
        }
    }

    const ConvolverEngine& m_engine = *GetParam();
};

INSTANTIATE_TEST_SUITE_P(Engines, ConvolverEngineOf, testing::ValuesIn(availableConvolverEngines()), byName);

struct Case {
    std::uint32_t blockFrames;
    std::size_t taps;
    std::size_t channelCount = 2;
    std::size_t blocks = 0;
};

TEST_P(ConvolverEngineOf, GivesTheDirectConvolutionLessTheGapFromTheFirstSampleOn) {
    std::vector<Case> cases{{1, 1, 9, 40},    {1, 300},         {2, 9},          {3, 3},          {3, 16384},
                            {4, 16384},       {15, 16384},      {5, 1},          {7, 1000, 3},    {16, 256},
                            {63, 1},          {63, 1000},       {64, 16384, 1},  {97, 16384, 3},  {128, 16384},
                            {240, 240, 5},    {441, 1},         {441, 882},      {441, 16384, 4}, {443, 16384},
                            {448, 16384},     {480, 1, 1},      {480, 960},      {480, 961, 6},   {480, 16384, 7},
                            {480, 16384, 8},  {509, 16384, 3},  {479, 958},      {1009, 3000},    {512, 16384},
                            {1000, 16384},    {1056, 16384, 9}, {4096, 16384},   {20000, 16384},  {20000, 1},
                            {8, 77, 2, 3000}, {7, 83, 1, 3000}, {6, 58, 3, 2999}};
    // Thousands of blocks with tiles, at every vector width, and with a gap. Then many partitions for a block's
    // length, the later ones longer: with long blocks of 4 to 32, with and without a gap, that do and do not fill
    // whole vectors, and to the last tap or one beyond a long block. Blocks of 172 are the last with two levels,
    // those of 348 the last with one.
    const std::vector<Case> longer{{64, 641, 2, 3000},  {48, 529, 3, 3001},  {128, 1300, 1, 3000}, {67, 701, 2, 3000},
                                   {16, 1552, 2, 3000}, {16, 1536, 1, 3001}, {21, 2049, 3, 3000},  {8, 800, 9, 1500},
                                   {33, 4225, 4, 3001}, {4, 9000, 2, 5000},  {5, 3000, 1, 3000},   {32, 16384},
                                   {48, 16384, 6},      {250, 16384, 3},     {172, 16384},         {173, 16384},
                                   {348, 16384},        {349, 16384}};
    cases.insert(cases.end(), longer.begin(), longer.end());
    for (const auto& [blockFrames, taps, channelCount, blocks] : cases) {
        const std::vector<float> h = noise(taps, 99);
        // Long enough for every slot of the ring to be used twice, up to a point.
        const std::size_t count = blocks > 0 ? blocks : std::min<std::size_t>(2 * (taps / blockFrames) + 7, 700);
        const Planar inputs = planarNoise(channelCount, count * blockFrames);
        Planar outputs = inputs;
        convolve(m_engine, h, blockFrames, outputs);
        const std::size_t samples = blocks > 0 ? 2000 : 200;
        for (std::size_t c = 0; c < channelCount; ++c) {
            const GappedConvolution oracle{inputs[c], h, blockFrames};
            const std::size_t step = 1 + outputs[c].size() / samples;
            EXPECT_LT(relativeError(outputs[c], step, [&oracle](std::size_t t) { return oracle.at(t); }), 2e-6)
                << taps << " taps in blocks of " << blockFrames << ", channel " << c << " of " << channelCount;
        }
    }
}

TEST_P(ConvolverEngineOf, TakesSamplesThatAreNotFiniteAsSilence) {
    for (const std::uint32_t blockFrames : {16U, 19U, 64U}) {
        Planar broken = planarNoise(2, 60 * std::size_t{blockFrames});
        Planar mended = broken;
        for (const std::size_t at : {3U, 18U, 20U, 47U}) {
            broken[0][at] = std::numeric_limits<float>::quiet_NaN();
            broken[1][at] =
                at % 2 == 0 ? std::numeric_limits<float>::infinity() : -std::numeric_limits<float>::infinity();
            mended[0][at] = mended[1][at] = 0.0F;
        }
        convolve(m_engine, noise(1700, 99), blockFrames, broken);
        convolve(m_engine, noise(1700, 99), blockFrames, mended);
        EXPECT_EQ(broken, mended);
    }
}

TEST_P(ConvolverEngineOf, RefusesWhatCannotBeConvolved) {
    const std::vector<float> h(4);
    constexpr std::uint32_t most = ConvolverTask::maxBlockFrames;
    for (const ConvolverTask& task : {ConvolverTask{{}, 480, 2}, {h, 0, 2}, {h, most + 1, 2}, {h, 480, 0}}) {
        EXPECT_FALSE(m_engine.make(task));
        PartitionedConvolver convolver;
        EXPECT_EQ(convolver.init(task.taps, task.blockFrames), task.channelCount == 0);
    }
}

template <class Choice>
void expectForcedByNameAndElseTheFastest(std::span<const Choice* const> available, const Choice& (*inForce)(),
                                         bool (*force)(std::string_view)) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody else changes the environment
    const char* const pNamed = std::getenv("TOVIX_TEST_ENGINE"); // see ForcedEngine.cpp
    EXPECT_TRUE(&inForce() == available.back() || (pNamed != nullptr && *pNamed != '\0'));
    for (const Choice* const pChoice : available) {
        EXPECT_TRUE(force(pChoice->name));
        EXPECT_EQ(&inForce(), pChoice);
        EXPECT_FALSE(force("none such"));
        EXPECT_EQ(&inForce(), pChoice);
    }
}

TEST(Implementations, AreForcedByNameAndElseTheFastest) {
    const ChosenAgain atEnd;
    EXPECT_EQ(availableConvolverEngines().front()->name, "fftw");
    expectForcedByNameAndElseTheFastest<ConvolverEngine>(availableConvolverEngines(), convolverEngine,
                                                         forceConvolverEngine);
    expectForcedByNameAndElseTheFastest<Kernels>(availableKernels(), kernels, forceKernels);
    expectForcedByNameAndElseTheFastest<LimiterLoops>(availableLimiterLoops(), limiterLoops, forceLimiterLoops);
}

} // namespace
