#include "chain/ChainBuilder.h"
#include "chain/ChainCost.h"
#include "chain/ChainSlots.h"
#include "support/CallSequences.h"
#include "text/SettingsText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <utility>

using namespace tovix;
using namespace tovix::test;

namespace {

constexpr float quiet = 0.01F;

/// Settings, and by how much they make a quiet constant louder: an equalizer swings in.
struct Settings {
    const char* text = "";
    float least = 1.0F;
    float most = 1.0F;
};
constexpr Settings settings[] = {{},
                                 {"#Boost: 60 dB 1\nBoost: loud"},
                                 {"Boost: 60 dB 1", 1.99F, 2.0F},
                                 {"Maximizer: 120 dB -10", 3.97F, 3.99F},
                                 {"Equalizer: 100 0 10000 0\nBoost: 60 dB 1", 0.5F, 3.0F}};

constexpr StreamFormat formats[] = {{48000.0F, 0, 2, 2, 3, 64},
                                    {48000.0F, 0, 1, 2, 3, 48},
                                    {44100.0F, 0, 6, 2, 3, 9},
                                    {8000.0F, 0, 8, 8, 0xFF, 80},
                                    {96000.0F, 0, 1, 1, 0, 16}};

/// What happens most often stands here more than once.
constexpr const char* kinds[] = {"start a stream", "change", "change", "process", "process", "process many"};

const char* nameOf(const Call& call) {
    return kinds[call.kind % std::size(kinds)];
}

/// A control thread's calls and an audio thread's in one order, with what must be heard and when the token is due.
class Sequence {
public:
    explicit Sequence(const Calls& calls) {
        startStream(formats[0]);
        for (const Call& call : calls) {
            const std::string kind = nameOf(call);
            if (kind == "start a stream") {
                startStream(formats[call.variant % std::size(formats)]);
            } else if (kind == "change" && !m_pNext) { // else the audio thread has the token
                change(settings[call.variant % std::size(settings)], call.variant / 8 % 2 == 0);
            } else if (kind == "process") {
                process(call.variant);
            } else if (kind == "process many") {
                for (std::uint32_t i = 0; i < call.variant % 64; ++i) {
                    process(i % 2);
                }
            }
        }
    }

    [[nodiscard]] const std::string& wrong() const { return m_wrong; }

private:
    void expect(bool right, const char* what) {
        if (m_wrong.empty() && !right) {
            m_wrong = what;
        }
    }

    void startStream(const StreamFormat& format) {
        m_format = format;
        m_slots.reset(m_format);
        m_builder.configure(m_format, {});
        m_pNow = m_pNext = nullptr;
    }

    void change(const Settings& wanted, bool tried) {
        m_slots.freeRetired();
        auto chain = m_builder.build(wanted.text).chain;
        if (tried) {
            const auto cost = measureCost(*chain, m_format, []() noexcept { return std::int64_t{0}; });
            expect(cost && cost->fits(), "a trial");
        }
        const bool pending = m_slots.publish(std::move(chain)) == ChainSlots::Published::pending;
        expect(pending == (m_pNow != nullptr), "pending");
        (pending ? m_pNext : m_pNow) = &wanted;
        m_faded = 0;
    }

    void process(std::uint32_t variant) {
        const std::uint32_t most = m_format.maxFrames;
        const std::uint32_t lengths[] = {most, most, 1, most / 2, 0, 3 * most + 1};
        const std::uint32_t frames = lengths[variant % std::size(lengths)];
        std::vector<float> input(std::size_t{frames} * m_format.inputChannels, quiet);
        std::vector<float> output(std::size_t{frames} * m_format.outputChannels, 12345.0F);
        const bool inPlace = variant / 8 % 2 == 0 && input.size() == output.size();
        const bool swapped = m_slots.process(inPlace ? input.data() : output.data(), input.data(), frames);
        m_faded += frames;
        const Settings& now = m_pNow ? *m_pNow : settings[0];
        const Settings& next = m_pNext ? *m_pNext : now;
        const auto isRight = [&](float sample) {
            return sample >= 0.999F * quiet * std::min(now.least, next.least) &&
                   sample <= 1.001F * quiet * std::max(now.most, next.most);
        };
        const auto& sound = inPlace ? input : output;
        expect(std::all_of(sound.begin(), sound.end(), isRight), "a sample");
        expect(swapped == (m_pNext && frames > 0 && m_faded >= crossfadeFramesAt(m_format.sampleRateHz)),
               "the token");
        if (swapped) {
            m_pNow = std::exchange(m_pNext, nullptr);
        }
    }

    StreamFormat m_format;
    ChainBuilder m_builder{decodeLatin1};
    ChainSlots m_slots;
    /// The settings of the chain that plays, if there is one, and of the one that fades in.
    const Settings* m_pNow = nullptr;
    const Settings* m_pNext = nullptr;
    std::uint32_t m_faded = 0;
    std::string m_wrong;
};

TEST(ChainCallOrder, DoesNotMatterToWhatIsHeardAndWhenTheTokenIsDue) {
    const SeedRange seeds = seedsToRun(300);
    const auto run = [](std::uint32_t, const Calls& calls) { return Sequence(calls).wrong(); };
    EXPECT_EQ(findFailingSequence(seeds, run, &nameOf), "");
    std::printf("%u sequences, seeds from %u on\n", seeds.count, seeds.first);
}

} // namespace
