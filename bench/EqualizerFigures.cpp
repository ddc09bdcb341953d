// Figures of the equalizer and its engines besides the cost of a block.
//
//     tovix-equalizer-figures engines          every engine that this processor can run
//     tovix-equalizer-figures setup BLOCK      ms to set up for stereo: first in a process, and again
//     tovix-equalizer-figures memory BLOCK CHANNELS
//                                              KiB that each engine's convolver holds per channel
//     tovix-equalizer-figures bound BLOCK      what a stereo block costs at least, ns per sample
//     tovix-equalizer-figures taps             the filter of all comparisons as raw 32-bit floats
//
// The lines are as Measurements.h has them.

#include "Contestant.h"
#include "Measurements.h"
#include "VectorSpeed.h"
#include "convolution/RightAngleConvolver.h"
#include "convolution/RightAngleTransform.h"
#include "convolution/TailConvolver.h"
#include "convolution/VectorLoops.h"
#include "filters/EffectEqualizer.h"
#include "memory/MemoryMgr.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>
#include <string>

using namespace tovix;
using namespace tovix::bench;

namespace {

constexpr double nsPerMs = 1e6;

void setUp(std::uint32_t blockFrames) {
    EffectEqualizer equalizer{benchPoints(), tapCount};
    const auto once = [&] { equalizer.setup(48000.0F, blockFrames, {L"L", L"R"}); };
    const std::string_view engine = convolverEngine().name;
    report({"set-up first", blockFrames, 2, engine}, nsOf(once) / nsPerMs);
    Batches again;
    for (int i = 0; i < 100; ++i) {
        again.add(nsOf(once) / nsPerMs);
    }
    report({"set-up", blockFrames, 2, engine}, again);
}

std::map<void*, std::size_t> held;

RtResult allocateCounted(std::size_t sizeBytes, void** ppMemory) noexcept {
    *ppMemory = std::malloc(sizeBytes);
    held[*ppMemory] = sizeBytes;
    return 0;
}

RtResult releaseCounted(void* pMemory) noexcept {
    held.erase(pMemory);
    std::free(pMemory);
    return 0;
}

void memory(const Shape& shape) {
    installRtAllocator({allocateCounted, releaseCounted});
    for (const ConvolverEngine* const pEngine : availableConvolverEngines()) {
        const EngineRun run{*pEngine, shape};
        std::size_t bytes = 0;
        for (const auto& [pMemory, size] : held) {
            bytes += size;
        }
        report({"memory", shape.blockFrames, shape.channelCount, pEngine->name},
               static_cast<double>(bytes) / 1024.0 / shape.channelCount);
    }
}

/// What partitions of one length cost for a sample of stereo at least, in ns.
struct LevelBound {
    double sums = 0.0;
    double transforms = 0.0;
    double bytes = 0.0;
};

LevelBound levelBound(const VectorSpeed& speed, std::size_t frames, std::size_t partitions, std::size_t points,
                      std::size_t tile) {
    const auto n = static_cast<double>(points);
    const double nsPerVector =
        nsPerMultiplyAdd(speed) * n / static_cast<double>(speed.lanes) / static_cast<double>(frames);
    return {4.0 * static_cast<double>(partitions) * nsPerVector,
            (2.0 * (4.0 * std::log2(n) - 6.0) + 7.0) * nsPerVector,
            nsPerRead(speed, partitions * points * 2 * 3) / static_cast<double>(tile * 2 * frames)};
}

/// What a stereo block costs at least with the engine's partitions and right-angle transforms, on this machine.
///
/// Arithmetic: four multiply-adds for each of N bins and each partition, and transforms there and back of as many
/// operations as the split-radix algorithm has, with the weights and the overlap; all as fast as multiply-adds that
/// wait for nothing. Bytes: one reading of the filter's and both inputs' spectra by a loop that does nothing else, of
/// which a tile of T blocks has the T-th part in each. The two can overlap: the larger counts. Partitions of a second
/// length add their own.
void bound(const ConvolverEngine& engine, std::uint32_t blockFrames) {
    const VectorSpeed* const pSpeed = vectorSpeedOf(engine.name);
    if (pSpeed == nullptr) {
        return;
    }
    const VectorLoops& loops = *engine.pLoops;
    const std::size_t all = (tapCount - 1) / blockFrames + 1;
    const std::vector<float> taps(tapCount);
    const std::size_t steps = TailConvolver::stepCountFor(loops, {taps, blockFrames, 2});
    const std::size_t partitions = steps > 0 ? 2 * steps : all;
    const RightAngleTransform transform = RightAngleTransform::make(loops, blockFrames);
    LevelBound sum = levelBound(*pSpeed, blockFrames, partitions, transform.pointCount(),
                                RightAngleConvolver::tileFor(loops, partitions, transform.rowCount()));
    if (steps > 0) {
        const std::size_t frames = steps * blockFrames;
        const LevelBound tail = levelBound(*pSpeed, frames, (tapCount - 1) / frames - 1,
                                           RightAngleTransform::make(loops, frames).pointCount(), loops.longestTile);
        sum = {sum.sums + tail.sums, sum.transforms + tail.transforms, sum.bytes + tail.bytes};
    }
    report({"bound sums", blockFrames, 2, engine.name}, sum.sums);
    report({"bound transforms", blockFrames, 2, engine.name}, sum.transforms);
    report({"bound bytes", blockFrames, 2, engine.name}, sum.bytes);
    report({"bound", blockFrames, 2, engine.name}, std::max(sum.sums + sum.transforms, sum.bytes));
}

bool run(const std::string& mode, std::uint32_t blockFrames, std::uint32_t channelCount) {
    if (mode == "engines") {
        for (const ConvolverEngine* const pEngine : availableConvolverEngines()) {
            report({"engine", 0, 0, pEngine->name}, 1.0);
        }
    } else if (mode == "setup") {
        setUp(blockFrames);
    } else if (mode == "memory") {
        memory({blockFrames, channelCount});
    } else if (mode == "bound") {
        for (const ConvolverEngine* const pEngine : availableConvolverEngines()) {
            bound(*pEngine, blockFrames);
        }
    } else if (mode == "taps") {
        const std::vector<float> h = decayingNoise(tapCount);
        return std::fwrite(h.data(), sizeof(float), h.size(), stdout) == h.size();
    } else {
        std::fputs("usage: tovix-equalizer-figures engines | setup|bound BLOCK | memory BLOCK CHANNELS | taps\n",
                   stderr);
        return false;
    }
    return true;
}

} // namespace

int main(int argc, char** argv) {
    const auto number = [&](int i) {
        return argc > i ? static_cast<std::uint32_t>(std::max(1UL, std::strtoul(argv[i], nullptr, 10))) : 1U;
    };
    return run(argc > 1 ? argv[1] : "", number(2), number(3)) ? EXIT_SUCCESS : EXIT_FAILURE;
}
