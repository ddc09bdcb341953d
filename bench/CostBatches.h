#pragma once

#include "Measurements.h"

#include <algorithm>
#include <cstdint>
#include <random>

namespace tovix::bench {

/// What tovix-filter-costs measures with.
constexpr std::uint32_t blockFrames = 480;
constexpr int turnCount = 41;
constexpr double turnNs = 2e6;

/// Measures batches of some milliseconds of `block`, which takes one block through, per frame; `copy`, which `block`
/// does too, is taken off, as that is the C library's work. `rewind` comes before each batch.
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
}

inline void nothing() {}

/// Frames of the magnitude 0.9 with the probability `share`, the others of 0.05; with 6 dB more, 0.9 is over full
/// scale and 0.05 far below any threshold.
inline std::vector<float> loudFrames(double share) {
    std::mt19937 generator{7};
    std::bernoulli_distribution isLoud{share};
    std::vector<float> sound(blockFrames);
    float sign = 1.0F;
    for (float& sample : sound) {
        sign = -sign;
        sample = sign * (isLoud(generator) ? 0.9F : 0.05F);
    }
    return sound;
}

/// Whole stereo blocks of the effect under the settings of each filter: natively of its core, on Windows of its
/// library, through the interface that the audio engine uses.
void measureBlocks();

} // namespace tovix::bench
