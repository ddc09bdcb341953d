#include "chain/ChainBuilder.h"
#include "chain/ChainCost.h"
#include "chain/ChainSlots.h"
#include "support/CallSequences.h"
#include "text/SettingsText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <utility>

using namespace tovix;
using namespace tovix::test;

namespace {

constexpr float quiet = 0.01F;

/// By how much a quiet constant becomes louder: an equalizer swings in.
struct Factor {
    float least = 1.0F;
    float most = 1.0F;
};
const std::pair<const char*, Factor> texts[] = {{"", {}},
                                                {"#Boost: 60 dB 1\nBoost: loud", {}},
                                                {"Boost: 60 dB 1", {1.99F, 2.0F}},
                                                {"Maximizer: 120 dB -10", {3.97F, 3.99F}},
                                                {"Equalizer: 100 0 10000 0\nBoost: 60 dB 1", {0.5F, 3.0F}}};

constexpr StreamFormat formats[] = {{48000.0F, 0, 2, 2, 3, 64}, {48000.0F, 0, 1, 2, 3, 48},
                                    {44100.0F, 0, 6, 2, 3, 9},  {8000.0F, 0, 8, 8, 0xFF, 80},
                                    {48000.0F, 0, 0, 2, 0, 64}, {96000.0F, 0, 1, 1, 0, 16}};

/// A control thread's calls and an audio thread's in one order, with what must be heard and when the token is due.
class Sequence {
public:
    explicit Sequence(const Calls& calls) {
        startStream(0);
        for (const Call& call : calls) {
            (this->*kinds[call.kind % std::size(kinds)].make)(call.variant);
        }
    }

    [[nodiscard]] const std::string& wrong() const { return m_wrong; }

    static std::string name(const Call& call) { return kinds[call.kind % std::size(kinds)].name; }

private:
    struct Kind {
        const char* name;
        void (Sequence::*make)(std::uint32_t variant);
    };
    static const Kind kinds[6];

    void expect(double got, double least, double most, const char* what) {
        if (m_wrong.empty() && !(got >= least && got <= most)) {
            m_wrong = std::string(what) + " is " + std::to_string(got) + ", not " + std::to_string(least) + " to " +
                      std::to_string(most);
        }
    }
    void expect(bool got, bool expected, const char* what) {
        expect(got ? 1 : 0, expected ? 1 : 0, expected ? 1 : 0, what);
    }

    [[nodiscard]] bool hasChannels() const { return m_format.inputChannels != 0; }

    void startStream(std::uint32_t variant) {
        m_format = formats[variant % std::size(formats)];
        m_slots.reset(m_format);
        m_builder.configure(m_format, {});
        m_plays = m_fades = false;
        m_now = {};
    }

    void change(std::uint32_t variant) {
        if (m_fades) {
            return; // the audio thread has the token
        }
        const auto& [text, factor] = texts[variant % std::size(texts)];
        m_slots.freeRetired();
        auto chain = m_builder.build(text).chain;
        expect(chain != nullptr, hasChannels(), "a chain");
        if (!chain) {
            return;
        }
        if (variant / 8 % 2 == 0) {
            const auto cost = measureCost(*chain, m_format, []() noexcept { return std::int64_t{0}; });
            expect(cost && cost->fits(), true, "a trial");
        }
        const bool pending = m_slots.publish(std::move(chain)) == ChainSlots::Published::pending;
        expect(pending, m_plays, "pending");
        (m_plays ? m_next : m_now) = factor;
        m_plays = true;
        m_fades = pending;
        m_faded = 0;
    }

    void process(std::uint32_t variant) {
        const std::uint32_t most = m_format.maxFrames;
        const std::uint32_t lengths[] = {most, most, 1, most / 2, 0, 3 * most + 1};
        const std::uint32_t frames = lengths[variant % std::size(lengths)];
        const std::size_t widest = std::max(m_format.inputChannels, m_format.outputChannels);
        std::vector<float> input(std::max<std::size_t>(frames * widest, 1), quiet);
        std::vector<float> output(input.size(), 12345.0F);
        const bool inPlace = variant / 8 % 2 == 0 && m_format.inputChannels == m_format.outputChannels;
        float* const pOutput = inPlace ? input.data() : output.data();
        const bool swapped = m_slots.process(pOutput, input.data(), frames);
        m_faded += frames;
        const float low = quiet * std::min(m_now.least, m_fades ? m_next.least : m_now.least);
        const float high = quiet * std::max(m_now.most, m_fades ? m_next.most : m_now.most);
        for (std::size_t i = 0; hasChannels() && i < std::size_t{frames} * m_format.outputChannels; ++i) {
            expect(pOutput[i], 0.999 * low, 1.001 * high, "a sample");
        }
        expect(swapped, m_fades && frames > 0 && m_faded >= crossfadeFramesAt(m_format.sampleRateHz), "the token");
        if (swapped) {
            m_now = m_next;
            m_fades = false;
        }
    }

    void processMany(std::uint32_t variant) {
        for (std::uint32_t i = 0; i < variant % 64; ++i) {
            process(i % 2);
        }
    }

    StreamFormat m_format;
    ChainBuilder m_builder{decodeLatin1};
    ChainSlots m_slots;
    bool m_plays = false;
    bool m_fades = false;
    std::uint32_t m_faded = 0;
    Factor m_now;
    Factor m_next;
    std::string m_wrong;
};

const Sequence::Kind Sequence::kinds[6] = {{"start a stream", &Sequence::startStream},
                                           {"change", &Sequence::change},
                                           {"change", &Sequence::change},
                                           {"process", &Sequence::process},
                                           {"process", &Sequence::process},
                                           {"process many", &Sequence::processMany}};

TEST(ChainCallOrder, DoesNotMatterToWhatIsHeardAndWhenTheTokenIsDue) {
    const SeedRange seeds = seedsToRun(300);
    EXPECT_EQ(findFailingSequence(
                  seeds, [](std::uint32_t, const Calls& calls) { return Sequence(calls).wrong(); }, &Sequence::name),
              "");
    std::printf("%u sequences, seeds from %u on\n", seeds.count, seeds.first);
}

} // namespace
