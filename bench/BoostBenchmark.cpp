#include "filters/EffectBoost.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <vector>

using namespace tovix;

namespace {

constexpr std::uint32_t blockFrames = 480;

/// Planar blocks of a tone; the filter works in place, so every run gets a fresh copy.
struct PlanarTone {
    PlanarTone(std::size_t channelCount, float amplitude) : source(channelCount, std::vector<float>(blockFrames)) {
        for (std::size_t c = 0; c < channelCount; ++c) {
            for (std::size_t f = 0; f < blockFrames; ++f) {
                source[c][f] = amplitude * std::sin(0.13F * static_cast<float>(f + 7 * c));
            }
        }
        working = source;
        for (auto& channel : working) {
            pointers.push_back(channel.data());
        }
    }
    void refill() {
        for (std::size_t c = 0; c < source.size(); ++c) {
            std::copy(source[c].begin(), source[c].end(), working[c].begin());
        }
    }
    std::vector<std::vector<float>> source;
    std::vector<std::vector<float>> working;
    std::vector<float*> pointers;
};

void runBoost(benchmark::State& state, std::int32_t level, bool dynamicsMode, float amplitude) {
    const auto channels = static_cast<std::size_t>(state.range(0));
    EffectBoost boost(level, dynamicsMode);
    boost.setup(48000.0F, blockFrames, ChannelList(channels, L"x"));
    EffectBoost::setProcessLevel(level);
    PlanarTone tone(channels, amplitude);
    for (auto _ : state) {
        tone.refill();
        boost.process(tone.pointers.data(), tone.pointers.data(), blockFrames);
        benchmark::ClobberMemory();
    }
    state.counters["perFrame"] = benchmark::Counter(static_cast<double>(state.iterations()) * blockFrames,
                                                    benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void boostPlain(benchmark::State& state) {
    runBoost(state, 60, false, 0.3F);
}

/// The limiter below full scale.
void boostLimiterIdle(benchmark::State& state) {
    runBoost(state, 60, true, 0.3F);
}

/// The limiter at work: every tone peak is held, every frame between them releases.
void boostLimiterLimiting(benchmark::State& state) {
    runBoost(state, 60, true, 0.9F);
}

BENCHMARK(boostPlain)->Arg(1)->Arg(2)->Arg(8);
BENCHMARK(boostLimiterIdle)->Arg(1)->Arg(2)->Arg(8);
BENCHMARK(boostLimiterLimiting)->Arg(1)->Arg(2)->Arg(8);

} // namespace
