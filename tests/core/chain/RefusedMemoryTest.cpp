// The test program is linked with --wrap=malloc,--wrap=free, which sends the calls of its own objects here. Shared
// libraries are not concerned.

#include "chain/ChainBuilder.h"
#include "chain/ChainCost.h"
#include "convolution/ConvolverEngine.h"
#include "convolution/FftPlan.h"
#include "filters/EffectEqualizer.h"

#include "support/ChosenAgain.h"
#include "support/Planar.h"

#include <gtest/gtest.h>

#include <array>

using namespace tovix;
using namespace tovix::test;

namespace {

/// The request of this thread that is refused, counted from 1; 0 once it has been.
thread_local int requestsLeft = 0;
/// Whether all requests after that one are refused, too, and whether they are by now.
thread_local bool laterOnesToo = false;
thread_local bool refusing = false;
/// Blocks of this thread that were taken and not given back.
thread_local int blocksHeld = 0;

} // namespace

// The linker's names for the functions it wraps.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming)
extern "C" {
void* __real_malloc(std::size_t sizeBytes);
void __real_free(void* pBlock);

void* __wrap_malloc(std::size_t sizeBytes) {
    const bool isRefused = requestsLeft > 0 && --requestsLeft == 0;
    refusing |= isRefused && laterOnesToo;
    if (isRefused || refusing) {
        return nullptr;
    }
    void* const pBlock = __real_malloc(sizeBytes);
    blocksHeld += pBlock != nullptr ? 1 : 0;
    return pBlock;
}

void __wrap_free(void* pBlock) {
    blocksHeld -= pBlock != nullptr ? 1 : 0;
    __real_free(pBlock);
}
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming)

/// Builds with one request refused, or all from that one on, a later one each time, until a build needs fewer;
/// returns the number of requests. `build` says whether it gave a whole chain.
template <class Build> int refuseEachRequest(bool andLaterOnes, const Build& build) {
    laterOnesToo = andLaterOnes;
    bool refused = true;
    int requests = 0;
    while (refused) {
        requestsLeft = ++requests;
        blocksHeld = 0;
        const bool whole = build();
        refused = requestsLeft == 0;
        requestsLeft = 0;
        refusing = false;
        EXPECT_EQ(whole, !refused) << "request " << requests;
        EXPECT_EQ(blocksHeld, 0) << "request " << requests;
    }
    laterOnesToo = false;
    return requests;
}

TEST(RefusedMemory, OfWhatPlanningTakesGivesNoPlan) {
    // FFTW ends the process when it is refused memory itself, so that a plan would come of it here, or nothing.
    std::array<float, 16> time{};
    ComplexBin spectrum[9]{};
    const auto plan = [&time, &spectrum] {
        const PlannerHold hold;
        return FftPlan::realForward(hold, 8, time.data(), spectrum);
    };
    requestsLeft = 1;
    EXPECT_FALSE(plan());
    EXPECT_EQ(requestsLeft, 0);
    EXPECT_TRUE(plan());
}

TEST(RefusedMemory, OfAnEqualizerLeavesItInert) {
    // Not a multiple of 4, so that the gap takes its memory too, and many taps for it, so that the tail does.
    constexpr std::uint32_t blockFrames = 9;
    const Planar sound = planarNoise(2, blockFrames);
    const auto plays = [&sound] {
        EffectEqualizer equalizer{{{100.0, -3.0}, {1000.0, 6.0}}, 1024};
        equalizer.setup(48000.0F, blockFrames, {L"L", L"R"});
        Planar played = sound;
        play(equalizer, played, blockFrames);
        EXPECT_EQ(played[0] == sound[0], played[1] == sound[1]);
        return played != sound;
    };
    const ChosenAgain atEnd;
    for (const ConvolverEngine* const pEngine : availableConvolverEngines()) {
        ASSERT_TRUE(forceConvolverEngine(pEngine->name));
        // Work arrays, taps, the convolver, its tables and its buffers.
        const int fewest = pEngine->pLoops == nullptr ? 20 : 30;
        EXPECT_GT(refuseEachRequest(false, plays), fewest) << "of the set-up's requests with " << pEngine->name;
        EXPECT_GT(refuseEachRequest(true, plays), fewest) << pEngine->name;
    }
}

TEST(RefusedMemory, OfAnyPartOfAChainOrItsTrialGivesNoChainOrNoCost) {
    const StreamFormat format{48000.0F, 0, 1, 1, 0, 4800};
    ChainBuilder builder(decodeLatin1);
    builder.configure(format, {});
    const auto build = [&builder] {
        return builder.build("Boost: 60 dB 1\nEqualizer: 100 -3 1000 6\nMaximizer: 30 dB\nEnableOldApo:").chain;
    };
    const auto isBuilt = [&build] {
        const auto chain = build();
        return chain && chain->stageCount() == 3;
    };
    const auto chain = build();
    ASSERT_TRUE(chain);
    const auto isTried = [&] {
        return measureCost(*chain, format, []() noexcept { return std::int64_t{0}; }).has_value();
    };
    for (const bool andLaterOnes : {false, true}) {
        EXPECT_GT(refuseEachRequest(andLaterOnes, isBuilt), 30) << "filters, stages, the maximizer's window, buffers";
        EXPECT_GT(refuseEachRequest(andLaterOnes, isTried), 20)
            << "the stand-ins, their stages and the chain of them";
    }
}
