#include "CostBatches.h"

#ifdef _WIN32
#include "render/engine/DllEngine.h"
#else
#include "render/engine/CoreEngine.h"
#endif

#include <algorithm>
#include <string>
#include <vector>

namespace tovix::bench {
namespace {

// Each plays a block in place, as the audio engine does, after a copy of the sound to there.
#ifdef _WIN32
render::DllEngine makeEngine() {
    return render::DllEngine{{}};
}
void playInPlace(render::DllEngine& engine, const std::vector<float>& sound, std::vector<float>& output) {
    engine.process(sound.data(), output.data());
}
#else
render::CoreEngine makeEngine() {
    return {};
}
void playInPlace(render::CoreEngine& engine, const std::vector<float>& sound, std::vector<float>& output) {
    std::copy(sound.begin(), sound.end(), output.begin());
    engine.process(output.data(), output.data());
}
#endif

struct Case {
    const char* who = "";
    const char* settings = "";
    /// See `loudFrames`: of the block before each batch, and of those measured.
    double shareBefore = 0.0;
    double share = 0.0;
    Level level = Level::moving;
};

std::vector<float> stereo(const std::vector<float>& sound) {
    std::vector<float> interleaved;
    for (const float sample : sound) {
        interleaved.insert(interleaved.end(), 2, sample);
    }
    return interleaved;
}

} // namespace

void measureBlocks() {
    const Case cases[]{
        {"no filter", "", 0.0, 0.0},
        {"equalizer", "Equalizer: 100 -3 1000 0 10000 6", 0.5, 0.5},
        {"plain boost", "Boost: 60 dB 0", 0.0, 0.0},
        {"limiter idle", "Boost: 60 dB 1", 0.0, 0.0},
        {"limiter releasing", "Boost: 60 dB 1", 1.0, 0.0},
        {"limiter half", "Boost: 60 dB 1", 0.5, 0.5},
        {"limiter always", "Boost: 60 dB 1", 1.0, 1.0},
        {"limiter half of one level", "Boost: 60 dB 1", 0.5, 0.5, Level::steady},
        {"limiter always of one level", "Boost: 60 dB 1", 1.0, 1.0, Level::steady},
        {"maximizer idle", "Maximizer: 60 dB", 0.0, 0.0},
        {"maximizer releasing", "Maximizer: 60 dB", 1.0, 0.0},
        {"maximizer limiting", "Maximizer: 60 dB", 0.5, 0.5},
    };
    auto engine = makeEngine();
    for (const Case& some : cases) {
        const std::vector<float> sound = stereo(loudFrames(some.share, some.level));
        std::vector<float> output(sound.size());
        engine.open({48000, 2, 2, 2, 0, 0, 0, blockFrames}, some.settings);
        const auto before = [&, first = stereo(loudFrames(some.shareBefore, some.level))] {
            playInPlace(engine, first, output);
        };
        const auto copy = [&] { std::copy(sound.begin(), sound.end(), output.begin()); };
        measure({"block", blockFrames, 2, some.who}, before, copy, [&] { playInPlace(engine, sound, output); });
        engine.close();
    }
}

} // namespace tovix::bench
