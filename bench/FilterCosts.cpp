// What each filter of the core costs, in ns per frame, the kernels around the filters for some numbers of channels,
// and whole blocks of the effect. Built natively and for Windows, so that the two can be compared.
//
//     tovix-filter-costs
//
// The lines are as Measurements.h has them.

#include "BenchSignals.h"
#include "CostBatches.h"
#include "chain/ChainBuilder.h"
#include "chain/ChainSlots.h"
#include "filters/EffectBoost.h"
#include "filters/EffectEqualizer.h"
#include "filters/EffectMaximizer.h"
#include "kernels/Kernels.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <utility>

using namespace tovix;
using namespace tovix::bench;

namespace {

constexpr std::int32_t boostLevel = 60;
/// Arrays one behind the other from a page's beginning on, wherever the heap puts them: how far arrays are apart
/// modulo a page decides whether a processor takes a load for one of what it is about to store.
class Arrays {
public:
    explicit Arrays(std::size_t floats) : m_memory(floats + pageFloats) {
        const auto beyond = reinterpret_cast<std::uintptr_t>(m_memory.data()) / sizeof(float) % pageFloats;
        m_pNext = m_memory.data() + (pageFloats - beyond) % pageFloats;
    }

    float* next(std::size_t floats) { return std::exchange(m_pNext, m_pNext + floats); }

private:
    static constexpr std::size_t pageFloats = 1024;
    std::vector<float> m_memory;
    float* m_pNext;
};

/// Planar channels that are worked on in place: each block begins as a copy of `sound`, frame by frame the same
/// magnitude in every channel. Behind them the same block interleaved.
class PlanarSound {
public:
    PlanarSound(std::uint32_t channelCount, const std::vector<float>& sound)
        : m_arrays(sound.size() * (1 + 2 * std::size_t{channelCount})), m_pSound(m_arrays.next(sound.size())) {
        std::copy(sound.begin(), sound.end(), m_pSound);
        for (std::uint32_t c = 0; c < channelCount; ++c) {
            m_channels.push_back(m_arrays.next(sound.size()));
        }
        m_pInterleaved = m_arrays.next(sound.size() * channelCount);
    }

    /// Copied by a kernel of our own: the C libraries' copies of the two systems differ, and the filter's first loads
    /// wait for the copy's last stores.
    float** refilled() {
        for (float* const channel : m_channels) {
            kernels().copyFinite(m_pSound, channel, blockFrames);
        }
        return m_channels.data();
    }
    float* interleaved() { return m_pInterleaved; }

private:
    Arrays m_arrays;
    float* m_pSound;
    std::vector<float*> m_channels;
    float* m_pInterleaved;
};

void equalizer() {
    PlanarSound sound{2, noise(blockFrames)};
    EffectEqualizer filter{benchPoints(), tapCount};
    filter.setup(48000.0F, blockFrames, ChannelList(2, L"x"));
    measure(
        {"filter", blockFrames, 2, "equalizer"}, nothing, [&] { sound.refilled(); },
        [&] {
            float** const channels = sound.refilled();
            filter.process(channels, channels, blockFrames);
        });
}

void plainBoost() {
    PlanarSound sound{2, noise(blockFrames)};
    EffectBoost filter{boostLevel, false};
    filter.setup(48000.0F, blockFrames, ChannelList(2, L"x"));
    EffectBoost::setProcessLevel(boostLevel);
    measure(
        {"filter", blockFrames, 2, "plain boost"}, nothing, [&] { sound.refilled(); },
        [&] {
            float** const channels = sound.refilled();
            filter.process(channels, channels, blockFrames);
        });
}

/// `before` is played once before each batch, whose blocks are then all alike.
template <class Filter>
void limiter(Filter filter, std::string_view who, double shareBefore, double share, Level level = Level::moving) {
    PlanarSound before{2, loudFrames(shareBefore, level)};
    PlanarSound sound{2, loudFrames(share, level)};
    filter.setup(48000.0F, blockFrames, ChannelList(2, L"x"));
    const auto process = [&filter](PlanarSound& some) {
        float** const channels = some.refilled();
        filter.process(channels, channels, blockFrames);
    };
    measure(
        {"filter", blockFrames, 2, who}, [&] { process(before); }, [&] { sound.refilled(); },
        [&] { process(sound); });
}

void layouts(std::uint32_t channelCount) {
    PlanarSound sound{channelCount, noise(blockFrames)};
    float** const planar = sound.refilled();
    float* const interleaved = sound.interleaved();
    const Kernels& loops = kernels();
    measure({"filter", blockFrames, channelCount, "de-interleave"}, nothing, nothing,
            [&] { loops.deinterleave(interleaved, planar, channelCount, blockFrames); });
    measure({"filter", blockFrames, channelCount, "interleave"}, nothing, nothing,
            [&] { loops.interleaveFinite(planar, interleaved, channelCount, blockFrames); });
}

/// Blocks in which one chain without filters fades into another. At the highest rate a fade takes eight of them.
void fade() {
    constexpr float rateHz = 384000.0F;
    const StreamFormat format{rateHz, 0, 2, 2, 0x3, blockFrames};
    const std::uint32_t blocks = crossfadeFramesAt(rateHz) / blockFrames;
    ChainBuilder builder(decodeLatin1);
    builder.configure(format, {});
    ChainSlots slots;
    slots.reset(format);
    slots.publish(builder.build("").chain);
    const std::vector<float> input = noise(std::size_t{blockFrames} * 2);
    std::vector<float> output(input.size());
    constexpr int fadeCount = 25;
    Batches batches;
    for (int turn = 0; turn < turnCount; ++turn) {
        double ns = 0.0;
        for (int i = 0; i < fadeCount; ++i) {
            slots.freeRetired();
            slots.publish(builder.build("").chain);
            ns += nsOf([&] {
                for (std::uint32_t block = 0; block < blocks; ++block) {
                    static_cast<void>(slots.process(output.data(), input.data(), blockFrames));
                }
            });
        }
        batches.add(ns / (static_cast<double>(fadeCount) * blocks * blockFrames));
    }
    report({"filter", blockFrames, 2, "fade"}, batches);
}

/// What silence and denormal samples cost in a chain of filters, over quiet noise, which no limiter works on.
void unusualSounds() {
    const StreamFormat format{48000.0F, 0, 2, 2, 0x3, blockFrames};
    ChainBuilder builder(decodeLatin1);
    builder.configure(format, {});
    constexpr std::size_t samples = std::size_t{blockFrames} * 2;
    std::vector<float> sounds[]{noise(samples), std::vector<float>(samples, 0.0F),
                                std::vector<float>(samples, 1e-39F)};
    for (float& sample : sounds[0]) {
        sample *= 0.03F;
    }
    constexpr std::size_t count = std::size(sounds);
    ChainSlots chains[count];
    Batches batches[count];
    for (ChainSlots& chain : chains) {
        chain.reset(format);
        chain.publish(builder
                          .build("Equalizer: 100 -3 1000 0 10000 6\n"
                                 "Boost: 60 dB 0\nBoost: 60 dB 1\nMaximizer: 60 dB")
                          .chain);
    }
    std::vector<float> output(samples);
    const auto play = [&](std::size_t i, int blocks) {
        for (int block = 0; block < blocks; ++block) {
            static_cast<void>(chains[i].process(output.data(), sounds[i].data(), blockFrames));
        }
    };
    for (int turn = 0; turn < turnCount; ++turn) {
        for (std::size_t i = 0; i < count; ++i) {
            // The first blocks of a turn find the caches full of another chain's spectra.
            play(i, 50);
            batches[i].add(nsOf([&] { play(i, 400); }));
        }
    }
    report({"silence", blockFrames, 2, "all filters"}, batches[1].median() / batches[0].median());
    report({"denormals", blockFrames, 2, "all filters"}, batches[2].median() / batches[0].median());
}

} // namespace

int main() {
    switchDenormalsOff();
    equalizer();
    plainBoost();
    limiter(EffectBoost{boostLevel, true}, "limiter idle", 0.0, 0.0);
    limiter(EffectBoost{boostLevel, true}, "limiter releasing", 1.0, 0.0);
    limiter(EffectBoost{boostLevel, true}, "limiter half", 0.5, 0.5);
    limiter(EffectBoost{boostLevel, true}, "limiter always", 1.0, 1.0);
    limiter(EffectBoost{boostLevel, true}, "limiter half of one level", 0.5, 0.5, Level::steady);
    limiter(EffectBoost{boostLevel, true}, "limiter always of one level", 1.0, 1.0, Level::steady);
    limiter(EffectMaximizer{boostLevel, 0}, "maximizer idle", 0.0, 0.0);
    limiter(EffectMaximizer{boostLevel, 0}, "maximizer releasing", 1.0, 0.0);
    limiter(EffectMaximizer{boostLevel, 0}, "maximizer limiting", 0.5, 0.5);
    for (const std::uint32_t channelCount : {2U, 8U, 12U}) {
        layouts(channelCount);
    }
    fade();
    unusualSounds();
    measureBlocks();
    return EXIT_SUCCESS;
}
