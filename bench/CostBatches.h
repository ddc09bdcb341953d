#pragma once

#include "Measurements.h"

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace tovix::bench {

/// What tovix-filter-costs measures with.
constexpr std::uint32_t blockFrames = 480;
constexpr int turnCount = 41;
constexpr double turnNs = 2e6;

/// The compiler must write to memory what the step before has left there, also where only the next step would change
/// it again.
inline void finishStep() {
    asm volatile("" ::: "memory");
}

/// Measures batches of some milliseconds of `block`, which takes one block through, per frame. `copy`, which `block`
/// does too, is taken off; "... with copy" is what was measured, without that.
/// `rewind` comes before each batch.
template <class Rewind, class Copy, class Block>
void measure(const Subject& subject, Rewind rewind, Copy copy, Block block) {
    rewind();
    const double least = std::max(1.0, std::min(nsOf(block), nsOf(block)));
    const auto blocks = std::clamp<std::size_t>(static_cast<std::size_t>(turnNs / least), 2, 400);
    const auto batchCount = static_cast<int>(std::max(1.0, turnNs / (least * static_cast<double>(blocks))));
    const auto nsPerFrame = [&](auto step) {
        double ns = 0.0;
        for (int batch = 0; batch < batchCount; ++batch) {
            rewind();
            ns += nsOf([&] {
                for (std::size_t i = 0; i < blocks; ++i) {
                    step();
                    finishStep();
                }
            });
        }
        return ns / (static_cast<double>(blocks) * batchCount * subject.blockFrames);
    };
    Batches batches;
    Batches copies;
    for (int turn = 0; turn < turnCount; ++turn) {
        batches.add(nsPerFrame(block));
        copies.add(nsPerFrame(copy));
    }
    report(subject, batches.median() - copies.median(), batches.keptCount(), batches.count());
    const std::string raw = std::string{subject.what} + " with copy";
    report({raw, subject.blockFrames, subject.channelCount, subject.who}, batches);
}

inline void nothing() {}

/// Of the loud frames.
enum class Level {
    /// From 0.6 up to a ceiling that rises from 0.75 to 0.9 four times in a block.
    moving,
    /// Always 0.9, as clipped sound has it: each loud frame takes the envelope back to the level that is held, for
    /// which the limiter has a way of its own.
    steady
};

/// Loud frames with the probability `share`, the others of the magnitude 0.05; with 6 dB more, loud ones are over
/// full scale and the others far below any threshold.
inline std::vector<float> loudFrames(double share, Level level) {
    constexpr std::uint32_t riseFrames = blockFrames / 4;
    std::mt19937 generator{7};
    std::bernoulli_distribution isLoud{share};
    std::uniform_real_distribution<float> part{0.0F, 1.0F};
    std::vector<float> sound(blockFrames);
    float sign = 1.0F;
    for (std::uint32_t f = 0; f < blockFrames; ++f) {
        const float ceiling = 0.75F + 0.15F * static_cast<float>(f % riseFrames) / (riseFrames - 1);
        const float moving = 0.6F + (ceiling - 0.6F) * part(generator);
        const float loud = level == Level::steady ? 0.9F : moving;
        sign = -sign;
        sound[f] = sign * (isLoud(generator) ? loud : 0.05F);
    }
    return sound;
}

/// Whole stereo blocks of the effect under the settings of each filter: natively of its core, on Windows of its
/// library, through the interface that the audio engine uses.
void measureBlocks();

} // namespace tovix::bench
