#include "BenchSignals.h"
#include "kernels/Kernels.h"

#include <benchmark/benchmark.h>

using namespace tovix;
using namespace tovix::bench;

namespace {

constexpr std::uint32_t frames = 480;

/// One block in both layouts.
struct Block {
    explicit Block(std::uint32_t channelCount) : interleaved(noise(std::size_t{frames} * channelCount)) {
        planar.assign(channelCount, noise(frames));
        for (auto& channel : planar) {
            pointers.push_back(channel.data());
        }
    }
    std::vector<float> interleaved;
    std::vector<std::vector<float>> planar;
    std::vector<float*> pointers;
};

/// The counter is the time per sample of one channel.
void countSamples(benchmark::State& state, std::uint32_t channelCount, const Kernels& set = kernels()) {
    state.SetLabel(std::string{set.name});
    state.counters["perSample"] = benchmark::Counter(static_cast<double>(state.iterations()) * frames * channelCount,
                                                     benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void deinterleave(benchmark::State& state) {
    const auto channelCount = static_cast<std::uint32_t>(state.range(0));
    Block block{channelCount};
    for (auto _ : state) {
        kernels().deinterleave(block.interleaved.data(), block.pointers.data(), channelCount, frames);
        benchmark::ClobberMemory();
    }
    countSamples(state, channelCount);
}

void interleaveFinite(benchmark::State& state) {
    const auto channelCount = static_cast<std::uint32_t>(state.range(0));
    Block block{channelCount};
    for (auto _ : state) {
        kernels().interleaveFinite(block.pointers.data(), block.interleaved.data(), channelCount, frames);
        benchmark::ClobberMemory();
    }
    countSamples(state, channelCount);
}

void applyGain(benchmark::State& state) {
    Block block{1};
    for (auto _ : state) {
        kernels().applyGain(block.interleaved.data(), frames, 1.0F);
        benchmark::ClobberMemory();
    }
    countSamples(state, 1);
}

/// A fade of 10 ms at 48 kHz. Arguments: the set, the reference being 0, and channels.
void fade(benchmark::State& state) {
    const Kernels& set = *availableKernels()[static_cast<std::size_t>(state.range(0))];
    const auto channelCount = static_cast<std::uint32_t>(state.range(1));
    Block current{channelCount};
    const Block pending{channelCount};
    std::vector<float> weights(frames);
    for (auto _ : state) {
        set.fadeInWeights(0, frames, weights.data(), frames);
        for (std::uint32_t c = 0; c < channelCount; ++c) {
            set.crossfade(weights.data(), pending.pointers[c], current.pointers[c], frames);
        }
        benchmark::ClobberMemory();
    }
    countSamples(state, channelCount, set);
}

BENCHMARK(deinterleave)->DenseRange(1, 16)->Arg(20);
BENCHMARK(interleaveFinite)->DenseRange(1, 16)->Arg(20);
BENCHMARK(applyGain);
BENCHMARK(fade)->ArgsProduct({benchmark::CreateDenseRange(0, static_cast<int>(availableKernels().size()) - 1, 1),
                              {1, 2, 8, 12}});

} // namespace
