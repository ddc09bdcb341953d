// How many times faster the limiter is with each set of vector loops that this processor can run than frame by frame,
// and what it costs, in ns per frame. They take turns of a millisecond at most.
//
//     tovix-limiter-gains
//
// Its "half" and "always" are tones; in the other two of each the frames above the threshold have all the same level,
// as clipped sound has it. The gains without a set's name are those of the fastest. The lines are as Measurements.h
// has them.

#include "FrameByFrameLimiter.h"
#include "Measurements.h"
#include "filters/BoostDynamics.h"
#include "kernels/Kernels.h"
#include "kernels/LimiterLoops.h"
#include "memory/AlignedArray.h"

#include <cmath>
#include <cstdlib>
#include <deque>
#include <functional>
#include <numbers>
#include <random>
#include <string>
#include <utility>

using namespace tovix;
using namespace tovix::bench;

namespace {

constexpr std::uint32_t blockFrames = 480;
constexpr double boostDb = 12.0;
constexpr double sampleRateHz = 48000.0;

using Planar = std::vector<std::vector<float>>;

/// Neighbouring channels are a quarter of a period apart.
Planar tone(std::size_t channelCount, float amplitude, bool inPhase) {
    Planar channels(channelCount);
    for (std::size_t c = 0; c < channelCount; ++c) {
        const float phase = inPhase ? 0.0F : static_cast<float>(c % 2) * std::numbers::pi_v<float> / 2.0F;
        for (std::uint32_t f = 0; f < blockFrames; ++f) {
            channels[c].push_back(amplitude * std::sin(0.13F * static_cast<float>(f) + phase));
        }
    }
    return channels;
}

/// Frames of the magnitude 0.9 with the probability `share`, the others of 0.05.
Planar constantPeaks(std::size_t channelCount, double share) {
    std::mt19937 generator{7};
    std::bernoulli_distribution isLoud{share};
    std::vector<float> channel(blockFrames);
    for (float& sample : channel) {
        sample = isLoud(generator) ? 0.9F : 0.05F;
    }
    Planar channels(channelCount, channel);
    return channels;
}

/// One block that is played over and over.
struct Sound {
    const char* name;
    /// What is played before each batch, a whole block of it.
    float before;
    Planar (*block)(std::size_t channelCount);
};

// With 12 dB more a peak of 1 lowers the threshold to -7.5 dB, where 0.106 reaches it; 0.15 is above it in half of a
// tone's frames, 0.9 always.
const Sound sounds[] = {
    {"idle", 0.0F, [](std::size_t channels) { return tone(channels, 0.2F, false); }},
    {"releasing", 1.0F, [](std::size_t channels) { return tone(channels, 0.1F, false); }},
    {"half", 1.0F, [](std::size_t channels) { return tone(channels, 0.15F, true); }},
    {"always", 1.0F, [](std::size_t channels) { return tone(channels, 0.9F, false); }},
    {"half of one level", 0.9F, [](std::size_t channels) { return constantPeaks(channels, 0.5); }},
    {"always of one level", 0.9F, [](std::size_t channels) { return constantPeaks(channels, 1.0); }},
};

using Process = std::function<void(float* const* channels, std::size_t channelCount)>;

/// A limiter and the block that it works on in place; it lies in memory as a chain's does.
class Contestant {
public:
    Contestant(std::string name, const Planar& sound, Process process)
        : m_name(std::move(name)), m_process(std::move(process)), m_sound(&sound),
          m_block(RtArray<float>::make(sound.size() * blockFrames)) {
        for (std::size_t c = 0; c < sound.size(); ++c) {
            m_channels.push_back(m_block.data() + c * blockFrames);
        }
    }

    [[nodiscard]] const std::string& name() const { return m_name; }

    /// With the copying of the blocks, which is not the library's, as each platform has its own.
    double nsPerFrame(float before, std::size_t blocks) {
        for (float* const channel : m_channels) {
            std::fill_n(channel, blockFrames, before);
        }
        m_process(m_channels.data(), m_channels.size());
        const double ns = nsOf([&] {
            for (std::size_t i = 0; i < blocks; ++i) {
                for (std::size_t c = 0; c < m_channels.size(); ++c) {
                    sse2Kernels.copyFinite((*m_sound)[c].data(), m_channels[c], blockFrames);
                }
                m_process(m_channels.data(), m_channels.size());
            }
        });
        return ns / static_cast<double>(blocks * blockFrames);
    }

private:
    std::string m_name;
    Process m_process;
    const Planar* m_sound;
    RtArray<float> m_block;
    std::vector<float*> m_channels;
};

/// The limiter frame by frame, and with each set of loops.
std::deque<Contestant> contestants(const Planar& block) {
    std::deque<Contestant> all;
    const auto add = [&](std::string_view name, auto limiter) {
        all.emplace_back(std::string{name}, block,
                         [limiter](float* const* channels, std::size_t channelCount) mutable {
                             limiter.process(channels, channelCount, blockFrames);
                         });
    };
    add("frame by frame", FrameByFrameLimiter{boostDb, sampleRateHz});
    for (const LimiterLoops* const pLoops : availableLimiterLoops()) {
        forceLimiterLoops(pLoops->name);
        BoostDynamics limiter;
        limiter.setBoost(boostDb);
        limiter.setSampleRateHz(sampleRateHz);
        add(pLoops->name, limiter);
    }
    return all;
}

void compare(const Sound& sound, std::size_t channelCount) {
    constexpr int turnCount = 201;
    constexpr std::size_t blocks = 60;
    const Planar block = sound.block(channelCount);
    auto all = contestants(block);
    std::vector<Batches> batches(all.size());
    for (std::size_t turn = 0; turn < turnCount; ++turn) {
        for (std::size_t i = 0; i < all.size(); ++i) {
            const std::size_t one = (i + turn) % all.size();
            batches[one].add(all[one].nsPerFrame(sound.before, blocks));
        }
    }
    const auto channels = static_cast<std::uint32_t>(channelCount);
    const auto reportGain = [&](const std::string& who, const Batches& of) {
        report({"limiter gain", blockFrames, channels, who}, batches.front().median() / of.median());
    };
    for (std::size_t i = 0; i < all.size(); ++i) {
        const std::string who = std::string{sound.name} + " " + all[i].name();
        report({"limiter cost", blockFrames, channels, who}, batches[i]);
        if (i > 0) {
            reportGain(who, batches[i]);
        }
    }
    reportGain(sound.name, batches.back());
}

} // namespace

int main() {
    switchDenormalsOff();
    for (const std::size_t channelCount : {2U, 8U}) {
        for (const Sound& sound : sounds) {
            compare(sound, channelCount);
        }
    }
    return EXIT_SUCCESS;
}
