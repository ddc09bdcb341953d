// What the core makes of the same sound with each set of inner loops and in blocks of different lengths: a hash of
// the samples and the largest difference of any two from those of the plainest loops. Built natively and for Windows.
//
//     tovix-sound-hashes FOLDER [REFERENCE]
//
// Writes the samples of each case into FOLDER. With REFERENCE, the folder of another build's run, it compares with
// the files there, too. Ends with 1 where a difference is larger than its bound, which is 0 where the bits must be
// the same.

#include "BenchSignals.h"
#include "chain/ChainBuilder.h"
#include "chain/ChainSlots.h"
#include "convolution/ConvolverEngine.h"
#include "kernels/Kernels.h"
#include "kernels/LimiterLoops.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

using namespace tovix;
using namespace tovix::bench;

namespace {

constexpr std::uint32_t channelCount = 2;
constexpr std::uint32_t blockLengths[] = {441, 64, 7};
constexpr std::size_t soundFrames = std::size_t{2} * 441 * 64; // halves of whole blocks of each length

struct Loops {
    std::string_view kernels;
    std::string_view limiter;
    std::string_view engine;

    [[nodiscard]] bool force() const {
        return forceKernels(kernels) && forceLimiterLoops(limiter) && forceConvolverEngine(engine);
    }
    [[nodiscard]] std::string name() const {
        return std::string{kernels}.append("-").append(limiter).append("-").append(engine);
    }
};

/// The plainest first; then each other set of one kind of loops; last the ones that the effect runs.
std::vector<Loops> setsOfLoops() {
    const Loops plain{availableKernels().front()->name, availableLimiterLoops().front()->name,
                      availableConvolverEngines().front()->name};
    std::vector<Loops> sets{plain};
    for (const auto* const pKernels : availableKernels().subspan(1)) {
        sets.push_back({pKernels->name, plain.limiter, plain.engine});
    }
    for (const auto* const pLimiter : availableLimiterLoops().subspan(1)) {
        sets.push_back({plain.kernels, pLimiter->name, plain.engine});
    }
    for (const auto* const pEngine : availableConvolverEngines().subspan(1)) {
        sets.push_back({plain.kernels, plain.limiter, pEngine->name});
    }
    sets.push_back({availableKernels().back()->name, availableLimiterLoops().back()->name,
                    availableConvolverEngines().back()->name});
    return sets;
}

struct Case {
    const char* name;
    const char* from;
    const char* to;
    /// The bounds of differences between sets of loops, block lengths and builds; a negative one is not compared.
    float loops;
    float blocks;
    float builds;
};

// The output is at most 1. Each set of loops takes logarithms, powers and transforms its own way; a crossfade's
// weights, too, which the equalizer's cases have. An equalizer leaves out other bins where its blocks have another
// length.
const Case cases[] = {
    {"boost", "Boost: 120 dB 1", nullptr, 0.0F, 0.0F, 1e-6F},
    {"boost-0", "Boost: 60 dB 0", nullptr, 0.0F, 0.0F, 1e-6F},
    {"maximizer", "Maximizer: 60 dB -10", nullptr, 0.0F, 0.0F, 1e-6F},
    {"equalizer", "Equalizer: 50 6 500 0 8000 -9", nullptr, 1e-6F, -1.0F, 1e-6F},
    {"change", "Boost: 60 dB 1", "Maximizer: 30 dB", 1e-6F, 0.0F, 1e-6F},
};

using Samples = std::vector<float>;

/// A stream in blocks of so many frames; the settings change, if they do, in its middle.
Samples play(const Case& c, std::uint32_t blockFrames) {
    const StreamFormat format{48000.0F, channelCount, channelCount, channelCount, 3, blockFrames};
    ChainBuilder builder(decodeLatin1);
    builder.configure(format, {});
    ChainSlots slots;
    slots.reset(format);
    slots.publish(builder.build(c.from).chain);
    Samples samples = noise(soundFrames * channelCount);
    for (std::size_t first = 0; first < soundFrames; first += blockFrames) {
        if (c.to != nullptr && first == soundFrames / 2) {
            slots.publish(builder.build(c.to).chain);
        }
        float* const block = samples.data() + first * channelCount;
        (void)slots.process(block, block, blockFrames);
    }
    return samples;
}

/// FNV-1a of the samples' bits.
std::uint64_t hashOf(const Samples& samples) {
    std::uint64_t hash = 0xCBF29CE484222325;
    const auto* const pBytes = reinterpret_cast<const unsigned char*>(samples.data());
    for (std::size_t i = 0; i < samples.size() * sizeof(float); ++i) {
        hash = (hash ^ pBytes[i]) * 0x100000001B3;
    }
    return hash;
}

Samples read(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    Samples samples(soundFrames * channelCount);
    file.read(reinterpret_cast<char*>(samples.data()), static_cast<std::streamsize>(samples.size() * sizeof(float)));
    return file ? samples : Samples{};
}

void write(const std::filesystem::path& path, const Samples& samples) {
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(samples.data()),
               static_cast<std::streamsize>(samples.size() * sizeof(float)));
}

float largestDifference(const Samples& a, const Samples& b) {
    float largest = a.size() == b.size() ? 0.0F : HUGE_VALF;
    for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i) {
        const float difference = std::abs(a[i] - b[i]);
        largest = difference <= largest ? largest : difference <= HUGE_VALF ? difference : HUGE_VALF;
    }
    return largest;
}

/// Prints a difference behind what is on the line; whether it is within its bound. A negative bound: not compared.
bool isWithin(float bound, float difference) {
    if (bound < 0.0F) {
        std::printf(" %10s  ", "-");
        return true;
    }
    const bool within = difference <= bound;
    std::printf(" %10.3g %c", static_cast<double>(difference), within ? ' ' : '!');
    return within;
}

/// The rows of one case, one for each set of loops.
bool compare(const Case& c, const std::filesystem::path& folder, const std::filesystem::path& reference) {
    bool within = true;
    Samples plain[std::size(blockLengths)];
    play(c, blockLengths[0]); // a boost's level stays for the process: from here on it is the same for all
    for (const Loops& loops : setsOfLoops()) {
        within &= loops.force();
        Samples first;
        float fromPlain = 0.0F;
        float fromFirst = 0.0F;
        float fromReference = 0.0F;
        for (std::size_t b = 0; b < std::size(blockLengths); ++b) {
            const Samples samples = play(c, blockLengths[b]);
            first = b == 0 ? samples : first;
            plain[b] = plain[b].empty() ? samples : plain[b];
            fromPlain = std::max(fromPlain, largestDifference(samples, plain[b]));
            fromFirst = std::max(fromFirst, largestDifference(samples, first));
            const std::string name = std::string{c.name} + "." + loops.name() + "." + std::to_string(blockLengths[b]);
            write(folder / name, samples);
            if (!reference.empty()) {
                fromReference = std::max(fromReference, largestDifference(samples, read(reference / name)));
            }
        }
        std::printf("%-10s %-19s %016llX", c.name, loops.name().c_str(),
                    static_cast<unsigned long long>(hashOf(first)));
        within &= isWithin(c.loops, fromPlain);
        within &= isWithin(c.blocks, fromFirst);
        within &= isWithin(reference.empty() ? -1.0F : c.builds, fromReference);
        std::printf("\n");
    }
    return within;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        return EXIT_FAILURE;
    }
    std::printf("%-10s %-19s %-16s %10s   %10s   %10s\n", "case", "loops", "hash", "plain", "blocks", "build");
    std::filesystem::create_directories(argv[1]);
    bool within = true;
    for (const Case& c : cases) {
        within &= compare(c, argv[1], argc > 2 ? argv[2] : "");
    }
    return within ? EXIT_SUCCESS : EXIT_FAILURE;
}
