#include "chain/ChainSlots.h"

#include "chain/StagePlanner.h"
#include "support/TestFilters.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <thread>

using namespace tovix;

namespace {

/// Counts its lives, so that a chain freed twice or never is seen.
class CountedFilter : public test::ConstantFilter {
public:
    explicit CountedFilter(float value) : ConstantFilter(value) { ++alive; }
    CountedFilter(const CountedFilter&) = delete;
    CountedFilter& operator=(const CountedFilter&) = delete;
    ~CountedFilter() override { --alive; }
    static inline std::atomic<int> alive{0};
};

RtPtr<FilterChain> constantChain(const StreamFormat& stream, float value) {
    StagePlanner planner(stream);
    EXPECT_TRUE(planner.append(makeRt<CountedFilter>(value)));
    return FilterChain::make(planner.shape(), planner.stages());
}

TEST(HandOver, ManyChangesUnderAudioNeitherClickNorLeakNorGetStuck) {
    constexpr int changes = 300;
    const StreamFormat stream{4800.0F, 0, 2, 2, 0, 16};
    {
        ChainSlots slots;
        slots.reset(stream);
        ASSERT_EQ(slots.publish(constantChain(stream, 0.0F)), ChainSlots::Published::current);
        // No std::counting_semaphore: the cross compiler's loses wake-ups.
        std::atomic<bool> token{true};
        const auto acquire = [&token] {
            while (!token.exchange(false)) {
                std::this_thread::yield();
            }
        };
        std::atomic<bool> finished{false};
        std::thread builder([&] {
            for (int i = 1; i <= changes; ++i) {
                acquire();
                slots.freeRetired();
                EXPECT_EQ(slots.publish(constantChain(stream, i % 2 == 0 ? 0.0F : 1.0F)),
                          ChainSlots::Published::pending);
                EXPECT_LE(CountedFilter::alive, 3);
            }
            acquire();
            finished = true;
        });
        const std::vector<float> input(32, 5.0F);
        std::vector<float> output(32);
        float previous = 0.0F;
        int swaps = 0;
        while (!finished) {
            // An engine leaves time between blocks; a loop that leaves none starves the builder of a small machine.
            std::this_thread::yield();
            if (slots.process(output.data(), input.data(), 16)) {
                ++swaps;
                token = true;
            }
            for (std::size_t f = 0; f < 16; ++f) {
                // The steepest step of a raised cosine over 48 frames.
                ASSERT_LE(std::fabs(output[2 * f] - previous), 0.0328F);
                previous = output[2 * f];
            }
        }
        builder.join();
        EXPECT_EQ(swaps, changes);
    }
    EXPECT_EQ(CountedFilter::alive, 0);
}

} // namespace
