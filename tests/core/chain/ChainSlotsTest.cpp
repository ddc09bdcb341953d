#include "chain/ChainSlots.h"

#include "chain/StagePlanner.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <numbers>
#include <numeric>
#include <thread>

using namespace tovix;

namespace {

/// Adds its own number to every sample, after scaling by 10: the order and number of filters can be read off. Works
/// on the whole length of the buffers, as a block convolver does.
class DigitFilter : public IFilter {
public:
    explicit DigitFilter(float digit, bool inPlace = true) : m_digit(digit), m_inPlace(inPlace) {}
    [[nodiscard]] bool processesInPlace() const noexcept override { return m_inPlace; }
    ChannelList setup(float, std::uint32_t maxFrames, ChannelList channels) override {
        m_maxFrames = maxFrames;
        m_channelCount = channels.size();
        return channels;
    }
    void process(float** outputs, float** inputs, std::uint32_t frameCount) noexcept override {
        for (std::size_t c = 0; c < m_channelCount; ++c) {
            ASSERT_TRUE(m_inPlace || outputs[c] != inputs[c]);
            for (std::uint32_t f = 0; f < m_maxFrames; ++f) {
                ASSERT_TRUE(f < frameCount || inputs[c][f] == 0.0F) << "a sample behind a short block";
                outputs[c][f] = inputs[c][f] * 10.0F + m_digit;
            }
        }
    }
    [[nodiscard]] FilterPtr standIn() const noexcept override { return nullptr; }

protected:
    float m_digit;
    bool m_inPlace;
    std::uint32_t m_maxFrames = 0;
    std::size_t m_channelCount = 0;
};

/// Writes one value into every sample of its channels; a chain of one is a constant source.
class ConstantFilter : public DigitFilter {
public:
    using DigitFilter::DigitFilter;
    void process(float** outputs, float**, std::uint32_t frameCount) noexcept override {
        ASSERT_GT(frameCount, 0U) << "a convolver would take it for a block of silence";
        for (std::size_t c = 0; c < m_channelCount; ++c) {
            std::fill_n(outputs[c], frameCount, m_digit);
        }
    }
};

StreamFormat format(std::uint32_t in, std::uint32_t out, std::uint32_t maxFrames = 480, float rate = 48000.0F) {
    return {rate, 0, in, out, 0, maxFrames};
}

template <class... Filters> RtPtr<FilterChain> chainOf(const StreamFormat& format, Filters... filters) {
    StagePlanner planner(format);
    EXPECT_TRUE((planner.append(makeRt<Filters>(filters)) && ...));
    return FilterChain::make(planner.shape(), planner.stages());
}

std::vector<float> ramp(std::size_t count) {
    std::vector<float> samples(count);
    std::iota(samples.begin(), samples.end(), 1.0F);
    return samples;
}

TEST(FilterChain, StagesRunInOrderInPlaceOrNotAndFindNoSamplesBehindAShortBlock) {
    for (const std::uint32_t channels : {1U, 2U, 3U, 6U, 8U, 11U}) {
        const auto stream = format(channels, channels, 16);
        const auto chain =
            chainOf(stream, DigitFilter(1), DigitFilter(2), DigitFilter(3, false), DigitFilter(4, false),
                    DigitFilter(5), DigitFilter(6, false), DigitFilter(7), DigitFilter(8));
        for (const std::uint32_t frames : {16U, 13U, 1U, 4U, 16U}) {
            const auto input = ramp(std::size_t{channels} * frames);
            std::vector<float> output(input.size());
            chain->run(input.data(), frames);
            chain->writeOutput(output.data(), frames);
            for (std::size_t i = 0; i < input.size(); ++i) {
                // 10^8 exceeds a float's whole numbers, so only their ratio is certain.
                ASSERT_NEAR(output[i] / (input[i] * 1e8F + 12345678.0F), 1.0F, 1e-6F);
            }
        }
    }
}

/// Counts its lives, so that a chain freed twice or never is seen.
class CountedFilter : public ConstantFilter {
public:
    explicit CountedFilter(float value) : ConstantFilter(value) { ++alive; }
    CountedFilter(const CountedFilter& other) : ConstantFilter(other) { ++alive; }
    CountedFilter& operator=(const CountedFilter&) = delete;
    ~CountedFilter() override { --alive; }
    static inline std::atomic<int> alive{0};
};

class Fade : public testing::Test {
protected:
    /// Starts with a constant 0.25 and publishes 0.75.
    void start(const StreamFormat& stream) {
        m_stream = stream;
        m_slots.reset(stream);
        EXPECT_EQ(m_slots.publish(chainOf(m_stream, ConstantFilter(0.25F))), ChainSlots::Published::current);
        EXPECT_EQ(m_slots.publish(chainOf(m_stream, ConstantFilter(0.75F))), ChainSlots::Published::pending);
    }
    /// In one buffer where both sides have as many channels.
    bool block(std::uint32_t frames) {
        const std::vector<float> input(std::size_t{frames} * m_stream.inputChannels, 9.0F);
        m_output.assign(std::size_t{frames} * m_stream.outputChannels, -1.0F);
        const bool inPlace = m_stream.inputChannels == m_stream.outputChannels;
        return m_slots.process(m_output.data(), inPlace ? m_output.data() : input.data(), frames);
    }

    StreamFormat m_stream;
    ChainSlots m_slots;
    std::vector<float> m_output;
};

TEST_F(Fade, NewChainIsHeardInFullAfterTenMilliseconds) {
    const struct {
        float rate;
        std::uint32_t frames;
    } rates[] = {{48000, 480}, {44100, 441}, {22050, 220}, {384000, 3840}, {10, 0}};
    for (const auto& r : rates) {
        for (const std::uint32_t blockFrames : {1U, 64U, 441U, 480U, 1000U}) {
            // Some are longer than promised, and some widen their input.
            start(format(1 + blockFrames % 2, 2, 300, r.rate));
            EXPECT_FALSE(block(0));
            ASSERT_EQ(crossfadeFramesAt(r.rate), r.frames);
            const std::uint32_t blocks = r.frames == 0 ? 1 : (r.frames + blockFrames - 1) / blockFrames;
            for (std::uint32_t b = 0; b < blocks; ++b) {
                ASSERT_EQ(block(blockFrames), b + 1 == blocks) << "the swap ends the block that completes the fade";
                for (std::uint32_t f = 0; f < blockFrames; ++f) {
                    const double position = b * blockFrames + f;
                    const double weight =
                        position >= r.frames ? 1.0 : 0.5 - 0.5 * std::cos(std::numbers::pi * position / r.frames);
                    ASSERT_NEAR(m_output[f * 2], 0.25 + 0.5 * weight, 2e-7);
                    ASSERT_EQ(m_output[f * 2], m_output[f * 2 + 1]);
                }
            }
            ASSERT_FALSE(block(blockFrames));
            ASSERT_EQ(m_output[0], 0.75F);
        }
    }
}

TEST_F(Fade, ABlockLongerThanPromisedInOneBufferWithAWiderOutputPasses) {
    start(format(1, 2, 100));
    std::vector<float> samples = ramp(500);
    const std::vector<float> before = samples;
    EXPECT_FALSE(m_slots.process(samples.data(), samples.data(), 250));
    for (std::size_t f = 0; f < 250; ++f) {
        ASSERT_EQ(samples[2 * f], before[f]);
        ASSERT_EQ(samples[2 * f + 1], before[f]);
    }
}

TEST(ChainSlots, WithNothingToDoTheSharedChannelsPassUntouchedEvenInOneBuffer) {
    const std::vector<float> odd{NAN, HUGE_VALF, 1e-42F, -3.0F};
    ChainSlots slots;
    for (const bool withEmptyChain : {false, true}) {
        slots.reset(format(2, 2, 2));
        if (withEmptyChain) {
            slots.publish(chainOf(format(2, 2, 2)));
        }
        std::vector<float> output(4);
        for (const float* const pInput : {odd.data(), static_cast<const float*>(output.data())}) {
            EXPECT_FALSE(slots.process(output.data(), pInput, 2));
            EXPECT_EQ(std::memcmp(output.data(), odd.data(), sizeof(float) * odd.size()), 0);
        }
    }
    std::vector<float> samples{1, 2, 3, 4, 0, 0};
    slots.reset(format(2, 3, 0));
    EXPECT_FALSE(slots.process(samples.data(), samples.data(), 2));
    EXPECT_EQ(samples, (std::vector<float>{1, 2, 0, 3, 4, 0}));
    slots.reset(format(3, 2, 0));
    EXPECT_FALSE(slots.process(samples.data(), samples.data(), 2));
    samples.resize(4);
    EXPECT_EQ(samples, (std::vector<float>{1, 2, 3, 4}));
}

TEST(HandOver, ManyChangesUnderAudioNeitherClickNorLeakNorGetStuck) {
    constexpr int changes = 300;
    const auto stream = format(2, 2, 16, 4800.0F);
    {
        ChainSlots slots;
        slots.reset(stream);
        ASSERT_EQ(slots.publish(chainOf(stream, CountedFilter(0.0F))), ChainSlots::Published::current);
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
                EXPECT_EQ(slots.publish(chainOf(stream, CountedFilter(i % 2 == 0 ? 0.0F : 1.0F))),
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
            std::this_thread::yield(); // as between an engine's blocks; or the builder of a small machine starves
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
