// Compares the convolution engines that this processor can run, and the peers that this build knows, at the same
// filter and block length. They take turns of a few milliseconds; batches that something else on the machine slowed
// down are left out and counted.
//
//     tovix-compare-engines cost BLOCK[xCHANNELS]...   ns per sample of one channel
//     tovix-compare-engines cold BLOCK[xCHANNELS]...   the same with nothing in the caches
//     tovix-compare-engines flat BLOCK[xCHANNELS]...   how even the cost of the blocks is
//     tovix-compare-engines sweep [LAST]               the smallest gain at some lengths up to LAST
//     tovix-compare-engines sweep-all [LAST]           the same at all lengths up to LAST
//
// Without CHANNELS stereo is meant. The lines are as Measurements.h has them.

#include "Contestant.h"
#include "Measurements.h"
#include "kernels/Kernels.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <numeric>
#include <string>

using namespace tovix;
using namespace tovix::bench;

namespace {

struct Turns {
    int count;
    double seconds;
};

/// Largest difference of two blocks, relative to the peak of the first.
double difference(std::span<const float> a, std::span<const float> b) {
    float peak = 0.0F;
    float worst = 0.0F;
    for (std::size_t i = 0; i < a.size(); ++i) {
        peak = std::max(peak, std::abs(a[i]));
        worst = std::max(worst, std::abs(a[i] - b[i]));
    }
    return worst / peak;
}

/// All who take part, and their batches in ns per sample of one channel.
struct Field {
    explicit Field(const Shape& wanted) : shape(wanted) {
        for (const ConvolverEngine* const pEngine : availableConvolverEngines()) {
            contestants.push_back(std::make_unique<EngineRun>(*pEngine, shape));
        }
    }

    void addPeers() {
        for (auto& peer : makePeers(shape)) {
            contestants.push_back(std::move(peer));
        }
    }

    /// Fills everybody's history, and tells whether all give the same sound.
    [[nodiscard]] bool warmUp() {
        const std::size_t blocks = std::size_t{2} * (tapCount / shape.blockFrames + 1);
        for (auto& contestant : contestants) {
            if (!contestant->ready()) {
                std::fprintf(stderr, "%s makes no convolver for blocks of %u frames.\n", contestant->name().c_str(),
                             shape.blockFrames);
                return false;
            }
            contestant->nsOfBlocks(blocks);
            if (difference(contestants.front()->output(), contestant->output()) > 1e-5) {
                std::fprintf(stderr, "%s gives another sound at blocks of %u frames.\n", contestant->name().c_str(),
                             shape.blockFrames);
                return false;
            }
        }
        return true;
    }

    /// With more turns, up to four times as many, while other programs disturb most of them.
    void measure(const Turns& turns) {
        constexpr std::size_t enough = 20;
        measureOnce(turns);
        const auto hasEnough = [](const Batches& some) { return some.keptCount() >= enough; };
        for (int more = 0; more < 3 && !std::all_of(batches.begin(), batches.end(), hasEnough); ++more) {
            measureOnce(turns);
        }
    }

    void measureOnce(const Turns& turns) {
        batches.resize(contestants.size());
        const auto samples = static_cast<double>(shape.samples());
        std::vector<std::size_t> blocks;
        for (auto& contestant : contestants) {
            const double ns = std::min(contestant->nsOfBlocks(1), contestant->nsOfBlocks(2) / 2);
            blocks.push_back(std::max<std::size_t>(2, static_cast<std::size_t>(turns.seconds * 1e9 / ns)));
        }
        for (int turn = 0; turn < turns.count; ++turn) {
            for (std::size_t i = 0; i < contestants.size(); ++i) {
                const std::size_t next = (i + static_cast<std::size_t>(turn)) % contestants.size();
                contestants[next]->nsOfBlocks(blocks[next] / 8 + settlingBlocks());
                batches[next].add(contestants[next]->nsOfBlocks(blocks[next]) /
                                  (static_cast<double>(blocks[next]) * samples));
            }
        }
    }

    /// The first blocks of a turn find the caches full of another contestant's spectra. What holds those of many
    /// channels, the third level, gives them up over several rounds of tiles only.
    [[nodiscard]] std::size_t settlingBlocks() const { return shape.channelCount > 8 ? 20 : 1; }

    void print(std::string_view what) const {
        for (std::size_t i = 0; i < contestants.size(); ++i) {
            report({what, shape.blockFrames, shape.channelCount, contestants[i]->name()}, batches[i]);
        }
    }

    Shape shape;
    std::vector<std::unique_ptr<Contestant>> contestants;
    std::vector<Batches> batches;
};

bool cost(const Shape& shape) {
    Field field{shape};
    field.addPeers();
    if (!field.warmUp()) {
        return false;
    }
    field.measure({61, 2.5e-3});
    field.print("cost");
    return true;
}

/// As when the rest of a system ran between two blocks.
bool cold(const Shape& shape) {
    constexpr std::size_t evictingBytes = std::size_t{16} << 20U;
    Field field{shape};
    if (!field.warmUp()) {
        return false;
    }
    field.batches.resize(field.contestants.size());
    std::vector<char> others(evictingBytes);
    for (int turn = 0; turn < 200; ++turn) {
        for (std::size_t i = 0; i < field.contestants.size(); ++i) {
            for (std::size_t at = 0; at < others.size(); at += 64) {
                ++others[at];
            }
            field.batches[i].add(field.contestants[i]->nsOfBlocks(1) / static_cast<double>(shape.samples()));
        }
    }
    field.print("cold");
    return true;
}

struct Evenness {
    /// Of all blocks, ns.
    double mean = std::numeric_limits<double>::max();
    /// Of the blocks of a cycle the one that costs most: its median time over the mean of all blocks' medians.
    double position = std::numeric_limits<double>::max();
    /// What 99 % of the blocks stay below, over the median.
    double dearBlock = std::numeric_limits<double>::max();
};

Evenness evennessOf(EngineRun& run) {
    // A multiple of every cycle: of the tiles' 2, 3 or 4 blocks, and of as many long blocks of up to 8.
    constexpr std::size_t positions = 96;
    constexpr std::size_t cycles = 100;
    std::vector<std::vector<double>> ns(positions);
    std::vector<double> all;
    for (std::size_t block = 0; block < positions * cycles; ++block) {
        ns[block % positions].push_back(run.nsOfBlocks(1));
        all.push_back(ns[block % positions].back());
    }
    const double mean = std::accumulate(all.begin(), all.end(), 0.0) / static_cast<double>(all.size());
    double sum = 0.0;
    double largest = 0.0;
    for (auto& position : ns) {
        std::sort(position.begin(), position.end());
        sum += position[cycles / 2] / positions;
        largest = std::max(largest, position[cycles / 2]);
    }
    std::sort(all.begin(), all.end());
    return {mean, largest / sum, all[all.size() * 99 / 100] / all[all.size() / 2]};
}

/// Both figures are of the quietest of several runs: of the one whose blocks took least together.
bool flat(const Shape& shape) {
    constexpr int runCount = 7;
    Field field{shape};
    if (!field.warmUp()) {
        return false;
    }
    for (auto& contestant : field.contestants) {
        Evenness best;
        for (int i = 0; i < runCount; ++i) {
            const Evenness evenness = evennessOf(static_cast<EngineRun&>(*contestant));
            if (evenness.mean < best.mean) {
                best = evenness;
            }
        }
        report({"flat position", shape.blockFrames, shape.channelCount, contestant->name()}, best.position);
        report({"flat 99 %", shape.blockFrames, shape.channelCount, contestant->name()}, best.dearBlock);
    }
    return true;
}

/// What silence and denormal samples cost, over noise.
void unusualSounds(const Shape& shape) {
    for (const ConvolverEngine* const pEngine : availableConvolverEngines()) {
        Field field{shape};
        field.contestants.clear();
        for (int i = 0; i < 3; ++i) {
            field.contestants.push_back(std::make_unique<EngineRun>(*pEngine, shape));
        }
        static_cast<EngineRun&>(*field.contestants[1]).feed(0.0F);
        static_cast<EngineRun&>(*field.contestants[2]).feed(1e-39F);
        field.measure({31, 2.5e-3});
        const double usual = field.batches[0].median();
        report({"silence", shape.blockFrames, shape.channelCount, pEngine->name}, field.batches[1].median() / usual);
        report({"denormals", shape.blockFrames, shape.channelCount, pEngine->name},
               field.batches[2].median() / usual);
    }
}

/// How many times faster than the first the contestant is; with more turns where few make it look slow.
double gain(const Shape& shape, std::size_t contestant) {
    double ratio = 0.0;
    for (const Turns turns : {Turns{5, 0.3e-3}, Turns{21, 1e-3}, Turns{61, 2.5e-3}}) {
        Field field{shape};
        field.measureOnce(turns);
        ratio = field.batches.front().median() / field.batches[contestant].median();
        if (ratio > 1.3) {
            break;
        }
    }
    return ratio;
}

/// Few turns for each length. Some: every length up to 97, then every hundredth part further.
void sweep(std::uint32_t last, bool all) {
    std::vector<double> smallest(availableConvolverEngines().size(), std::numeric_limits<double>::max());
    std::vector<std::uint32_t> where(smallest.size());
    std::size_t lengths = 0;
    for (std::uint32_t blockFrames = 1; blockFrames <= last; blockFrames += all ? 1 : 1 + blockFrames / 97) {
        const Shape shape{blockFrames};
        Field field{shape};
        field.measureOnce({5, 0.3e-3});
        for (std::size_t e = 1; e < smallest.size(); ++e) {
            double ratio = field.batches.front().median() / field.batches[e].median();
            if (ratio < std::min(1.3, smallest[e])) {
                ratio = gain(shape, e);
            }
            if (ratio < smallest[e]) {
                smallest[e] = ratio;
                where[e] = blockFrames;
            }
        }
        ++lengths;
    }
    for (std::size_t e = 1; e < smallest.size(); ++e) {
        report({"smallest gain", where[e], 2, availableConvolverEngines()[e]->name}, smallest[e], lengths, last);
    }
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

bool run(const std::string& mode, const std::vector<Shape>& shapes) {
    const auto each = [&shapes](auto step) { return std::all_of(shapes.begin(), shapes.end(), step); };
    if (mode == "cost") {
        return each(cost);
    }
    if (mode == "cold") {
        return each(cold);
    }
    if (mode == "flat") {
        return each(flat) && each([](const Shape& shape) {
                   unusualSounds(shape);
                   return true;
               });
    }
    if (mode == "sweep" || mode == "sweep-all") {
        sweep(shapes.empty() ? 8192 : shapes.front().blockFrames, mode == "sweep-all");
        return true;
    }
    std::fputs("usage: tovix-compare-engines cost|cold|flat BLOCK[xCHANNELS]... | sweep|sweep-all [LAST]\n", stderr);
    return false;
}

} // namespace

int main(int argc, char** argv) {
    switchDenormalsOff();
    // What the others are measured against.
    forceKernels("sse2");
    return run(argc > 1 ? argv[1] : "", shapesOf(argc - 2, argv + 2)) ? EXIT_SUCCESS : EXIT_FAILURE;
}
