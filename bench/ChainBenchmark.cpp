#include "chain/ChainBuilder.h"
#include "chain/ChainSlots.h"
#include "filters/EffectBoost.h"
#include "stream/AudioBlock.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <vector>

using namespace tovix;

namespace {

constexpr float sampleRateHz = 48000.0F;

class Chains final : public IOwnEffect {
public:
    void process(float* output, const float* input, std::uint32_t frameCount) noexcept override {
        static_cast<void>(slots.process(output, input, frameCount));
    }
    ChainSlots slots;
};

/// One engine block through the whole path; the counter is the time one core takes for a second of
/// sound at 48 kHz, so 10 ms are 1 % of the core.
void runChain(benchmark::State& state, const char* text) {
    const auto channels = static_cast<std::uint32_t>(state.range(0));
    const auto frames = static_cast<std::uint32_t>(state.range(1));
    const StreamFormat format{sampleRateHz, 0, channels, channels, 0, frames};
    ChainBuilder builder(decodeLatin1);
    builder.configure(format, {});
    Chains chains;
    chains.slots.reset(format);
    chains.slots.publish(builder.build(text).chain);
    EffectBoost::setProcessLevel(60);
    std::vector<float> input(std::size_t{frames} * channels);
    std::vector<float> output(input.size());
    for (std::size_t i = 0; i < input.size(); ++i) {
        input[i] = 0.8F * std::sin(0.13F * static_cast<float>(i));
    }
    for (auto _ : state) {
        const BlockBuffer in{input.data(), frames, BufferFlags::valid};
        BlockBuffer out{output.data(), 0, BufferFlags::invalid};
        processBlock(chains, {channels, channels, false, nullptr}, in, out);
        benchmark::ClobberMemory();
    }
    const double seconds = static_cast<double>(state.iterations()) * frames / static_cast<double>(sampleRateHz);
    state.counters["perSecond"] =
        benchmark::Counter(seconds, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void chainEmpty(benchmark::State& state) {
    runChain(state, "");
}
void chainBoost(benchmark::State& state) {
    runChain(state, "Boost: 60 dB 0");
}
void chainLimiter(benchmark::State& state) {
    runChain(state, "Boost: 60 dB 1");
}
void chainLimiterAndEqualizer(benchmark::State& state) {
    runChain(state, "Boost: 60 dB 1\nEqualizer: 100 -3 1000 0 10000 6");
}

void shapes(benchmark::internal::Benchmark* benchmark) {
    benchmark->Args({2, 480})->Args({2, 128})->Args({8, 480});
}
BENCHMARK(chainEmpty)->Apply(shapes);
BENCHMARK(chainBoost)->Apply(shapes);
BENCHMARK(chainLimiter)->Apply(shapes);
BENCHMARK(chainLimiterAndEqualizer)->Apply(shapes);

/// A settings change from text to chain, as the builder thread does it.
void chainBuild(benchmark::State& state) {
    const StreamFormat format{sampleRateHz, 0, 2, 2, 0x3, 480};
    ChainBuilder builder(decodeLatin1);
    builder.configure(format, {});
    for (auto _ : state) {
        benchmark::DoNotOptimize(builder.build("Boost: 60 dB 1\nEqualizer: 100 -3 1000 0 10000 6").chain.get());
    }
}
BENCHMARK(chainBuild)->Unit(benchmark::kMillisecond);

} // namespace
