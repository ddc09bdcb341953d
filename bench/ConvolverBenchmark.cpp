#include "Contestant.h"
#include "filters/EffectEqualizer.h"

#include <benchmark/benchmark.h>

using namespace tovix;
using namespace tovix::bench;

namespace {

/// The engine in force. Arguments: frames per block, channels. The counter is the time per sample of one channel.
void convolver(benchmark::State& state) {
    const Shape shape{static_cast<std::uint32_t>(state.range(0)), static_cast<std::uint32_t>(state.range(1))};
    EngineRun run{convolverEngine(), shape};
    if (!run.ready()) {
        state.SkipWithError("no memory");
        return;
    }
    for (auto _ : state) {
        run.process();
        benchmark::ClobberMemory();
    }
    state.SetLabel(run.name());
    state.counters["perSample"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * static_cast<double>(shape.samples()),
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(convolver)->ArgsProduct({{64, 128, 441, 480, 512, 1024}, {1, 2, 8}});

/// Design and set-up for stereo, once whatever needs to be planned is planned.
void equalizerSetup(benchmark::State& state) {
    EffectEqualizer equalizer{benchPoints(), tapCount};
    for (auto _ : state) {
        equalizer.setup(48000.0F, static_cast<std::uint32_t>(state.range(0)), {L"L", L"R"});
    }
}
BENCHMARK(equalizerSetup)->Arg(128)->Arg(480)->Arg(1024)->Unit(benchmark::kMillisecond);

} // namespace
