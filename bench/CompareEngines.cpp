// Compares the convolution engines that this processor can run, at the same filter and block length. They take turns
// of a few milliseconds; batches that something else on the machine slowed down are left out and counted.
//
//     tovix-compare-engines [BLOCK[xCHANNELS] ...]      stereo where no channels are given
//     tovix-compare-engines --sweep [LAST]              every stereo block length where an engine is slower than the
//     first tovix-compare-engines --flat [BLOCK ...]          how even the cost of the blocks is

#include "EngineTurns.h"
#include "kernels/Kernels.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <string>

using namespace tovix;
using namespace tovix::bench;

namespace {

struct Shape {
    std::uint32_t blockFrames;
    std::uint32_t channelCount = 2;
};

struct Turns {
    int count;
    double seconds;
};

/// One convolver of every engine, and their batches.
struct Field {
    Field(const std::vector<float>& h, const Shape& shape) : batches(availableConvolverEngines().size()) {
        for (const ConvolverEngine* const pEngine : availableConvolverEngines()) {
            runs.emplace_back(*pEngine, h, shape.blockFrames, shape.channelCount);
            ready = ready && runs.back().ready();
        }
    }

    void measure(const Turns& turns) {
        std::vector<std::size_t> blocks;
        for (EngineRun& run : runs) {
            const auto samples = static_cast<double>(run.output().size());
            const double ns = std::min(run.nsPerSample(1), run.nsPerSample(2));
            blocks.push_back(std::max<std::size_t>(2, static_cast<std::size_t>(turns.seconds * 1e9 / ns / samples)));
        }
        for (int turn = 0; turn < turns.count; ++turn) {
            for (std::size_t e = 0; e < runs.size(); ++e) {
                const std::size_t engine = (e + static_cast<std::size_t>(turn)) % runs.size();
                // The first blocks of a turn find the caches full of another engine's spectra.
                runs[engine].nsPerSample(blocks[engine] / 8 + 1);
                batches[engine].add(runs[engine].nsPerSample(blocks[engine]));
            }
        }
    }

    std::deque<EngineRun> runs;
    std::vector<Batches> batches;
    bool ready = true;
};

void printRow(const Field& field, const Shape& shape) {
    std::printf("%6u %3u", shape.blockFrames, shape.channelCount);
    const double reference = field.batches.front().medianNs();
    for (const Batches& batches : field.batches) {
        std::printf(" | %8.2f %6.2f %3zu/%zu", batches.medianNs(), reference / batches.medianNs(),
                    batches.keptCount(), batches.count());
    }
    std::printf("\n");
    std::fflush(stdout);
}

bool compare(const std::vector<float>& h, const Shape& shape) {
    Field field{h, shape};
    if (!field.ready) {
        std::fprintf(stderr, "No convolvers for blocks of %u frames.\n", shape.blockFrames);
        return false;
    }
    field.measure({61, 2.5e-3});
    printRow(field, shape);
    return true;
}

/// Few turns for each length: lists where the gain is small. Every length up to 97, then every hundredth part
/// further.
bool sweep(const std::vector<float>& h, std::uint32_t last) {
    bool faster = true;
    double worst = 1e9;
    for (std::uint32_t blockFrames = 1; blockFrames <= last; blockFrames += 1 + blockFrames / 97) {
        Field field{h, {blockFrames}};
        field.measure({5, 0.5e-3});
        for (std::size_t e = 1; e < field.runs.size(); ++e) {
            const double ratio = field.batches.front().medianNs() / field.batches[e].medianNs();
            worst = std::min(worst, ratio);
            if (ratio < 1.5) {
                std::printf("%6u %-8s %.2f\n", blockFrames, availableConvolverEngines()[e]->name.data(), ratio);
                faster = faster && ratio >= 1.0;
            }
        }
    }
    std::printf("smallest ratio %.2f\n", worst);
    return faster;
}

/// Median of each position in a cycle of blocks, the largest of them over the mean of all; and the block below which
/// 99 % of them stay, over the median.
void flatness(const std::vector<float>& h, const Shape& shape) {
    constexpr std::size_t positions = 12;
    constexpr std::size_t cycles = 400;
    for (const ConvolverEngine* const pEngine : availableConvolverEngines()) {
        EngineRun run{*pEngine, h, shape.blockFrames, shape.channelCount};
        run.nsPerSample(200);
        std::vector<std::vector<double>> ns(positions);
        std::vector<double> all;
        for (std::size_t block = 0; block < positions * cycles; ++block) {
            ns[block % positions].push_back(run.nsPerSample(1));
            all.push_back(ns[block % positions].back());
        }
        double sum = 0.0;
        double largest = 0.0;
        for (auto& position : ns) {
            std::sort(position.begin(), position.end());
            sum += position[cycles / 2] / positions;
            largest = std::max(largest, position[cycles / 2]);
        }
        std::sort(all.begin(), all.end());
        std::printf("%6u %3u %-8s position %.3f, 99 %% %.3f\n", shape.blockFrames, shape.channelCount,
                    pEngine->name.data(), largest / sum, all[all.size() * 99 / 100] / all[all.size() / 2]);
    }
}

/// The same with caches that hold nothing of the convolver, as when the rest of a system ran between two blocks.
void coldCaches(const std::vector<float>& h, const Shape& shape) {
    constexpr std::size_t evictingBytes = std::size_t{16} << 20U;
    Field field{h, shape};
    std::vector<char> others(evictingBytes);
    for (int turn = 0; turn < 200; ++turn) {
        for (std::size_t e = 0; e < field.runs.size(); ++e) {
            for (std::size_t i = 0; i < others.size(); i += 64) {
                ++others[i];
            }
            field.batches[e].add(field.runs[e].nsPerSample(1));
        }
    }
    printRow(field, shape);
}

std::vector<Shape> shapesOf(int count, char** texts) {
    std::vector<Shape> shapes;
    for (int i = 0; i < count; ++i) {
        char* pEnd = nullptr;
        Shape shape{static_cast<std::uint32_t>(std::strtoul(texts[i], &pEnd, 10))};
        if (*pEnd == 'x') {
            shape.channelCount = static_cast<std::uint32_t>(std::strtoul(pEnd + 1, &pEnd, 10));
        }
        shapes.push_back(shape);
    }
    return shapes;
}

} // namespace

int main(int argc, char** argv) {
    // What the others are measured against.
    forceKernels("sse2");
    const std::vector<float> h = decayingNoise(tapCount);
    const bool isOption = argc > 1 && argv[1][0] == '-';
    std::vector<Shape> shapes = shapesOf(argc - 1 - isOption, argv + 1 + isOption);
    if (isOption && std::strcmp(argv[1], "--sweep") == 0) {
        return sweep(h, shapes.empty() ? 8192 : shapes[0].blockFrames) ? EXIT_SUCCESS : EXIT_FAILURE;
    }
    if (shapes.empty()) {
        shapes = {{48}, {64}, {128}, {256}, {441}, {480}, {512}, {1024}, {4096}, {480, 8}, {480, 1}};
    }
    if (isOption && std::strcmp(argv[1], "--flat") == 0) {
        for (const Shape& shape : shapes) {
            flatness(h, shape);
        }
        return EXIT_SUCCESS;
    }
    std::printf("%u taps; ns per sample per channel, how many times faster than the first, batches kept\n", tapCount);
    std::printf("%6s %3s", "block", "ch.");
    for (const ConvolverEngine* const pEngine : availableConvolverEngines()) {
        std::printf(" | %22s", pEngine->name.data());
    }
    std::printf("\n");
    const bool isCold = isOption && std::strcmp(argv[1], "--cold") == 0;
    bool compared = true;
    for (const Shape& shape : shapes) {
        if (isCold) {
            coldCaches(h, shape);
            continue;
        }
        compared = compare(h, shape) && compared;
    }
    return compared ? EXIT_SUCCESS : EXIT_FAILURE;
}
