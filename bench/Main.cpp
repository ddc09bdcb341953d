#include "BenchSignals.h"
#include "filters/EffectEqualizer.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <string>

using namespace tovix;

namespace {

/// Milliseconds of a set-up for stereo at 48 kHz, while FFTW has not planned anything yet in this process.
double firstSetupMs() {
    EffectEqualizer equalizer{bench::benchPoints(), bench::tapCount};
    const auto start = std::chrono::steady_clock::now();
    equalizer.setup(48000.0F, 480, {L"L", L"R"});
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

} // namespace

int main(int argc, char** argv) {
    benchmark::AddCustomContext("first equalizer set-up of the process, ms", std::to_string(firstSetupMs()));
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
