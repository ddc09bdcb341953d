#include "OwnLimiters.h"

#include "LimiterFigures.h"
#include "render/engine/CoreEngine.h"

#include <algorithm>
#include <cmath>

namespace tovix::bench {
namespace {

constexpr std::uint32_t blockFrames = 480;

/// The largest step within 20 ms of a change of the settings, over the input's times the larger gain of the two.
double changeStep(Setting from, std::int32_t fromTenths, Setting to, std::int32_t toTenths, float amplitude) {
    constexpr std::size_t changeFrame = 100 * std::size_t{blockFrames};
    std::vector<float> sound;
    for (std::size_t f = 0; f < 2 * changeFrame; ++f) {
        sound.insert(sound.end(), 2, amplitude * static_cast<float>(std::sin(0.13 * static_cast<double>(f))));
    }
    const std::string next = lineOf(to, toTenths);
    const std::vector<float> output = play(sound, lineOf(from, fromTenths), next, changeFrame);
    const std::size_t first = changeFrame - framesOf(1);
    const std::size_t end = changeFrame + framesOf(20);
    const double gain = std::pow(10.0, std::max(fromTenths, toTenths) / 200.0);
    return largestStep(output, first, end) / (largestStep(sound, first, end) * gain);
}

} // namespace

std::string lineOf(Setting setting, std::int32_t tenths) {
    switch (setting) {
    case Setting::limit:
        return "Boost: " + std::to_string(tenths) + " dB 1";
    case Setting::clean:
        return "Maximizer: " + std::to_string(tenths) + " dB";
    default:
        return "#Boost:";
    }
}

std::vector<float> play(const std::vector<float>& input, const std::string& settings, const std::string& next,
                        std::size_t changeFrame) {
    render::CoreEngine engine;
    engine.open({soundRateHz, 2, 2, 2, 0x3, 0x3, 0x3, blockFrames}, settings);
    std::vector<float> output(input.size());
    for (std::size_t frame = 0; 2 * frame < input.size(); frame += blockFrames) {
        if (!next.empty() && frame == changeFrame) {
            engine.changeSettings(next);
        }
        engine.prepareBlock();
        engine.process(input.data() + 2 * frame, output.data() + 2 * frame);
    }
    engine.close();
    return output;
}

double worstChangeStep() {
    struct Change {
        Setting from;
        std::int32_t fromTenths;
        Setting to;
        std::int32_t toTenths;
    };
    const Change changes[]{{Setting::off, 0, Setting::clean, 120},
                           {Setting::clean, 120, Setting::off, 0},
                           {Setting::clean, 60, Setting::clean, 120},
                           {Setting::limit, 60, Setting::clean, 120},
                           {Setting::clean, 120, Setting::limit, 60}};
    double worst = 0.0;
    for (const Change& change : changes) {
        for (const float amplitude : {0.1F, 0.24F, 0.5F, 1.0F}) {
            worst =
                std::max(worst, changeStep(change.from, change.fromTenths, change.to, change.toTenths, amplitude));
        }
    }
    return worst;
}

double excessOfTenMillionFrames(const std::vector<LimiterSound>& sounds) {
    std::vector<float> sound;
    while (sound.size() < 2 * std::size_t{10000000}) {
        for (const char* const name : {"demo12", "noise", "burst", "onset"}) {
            const auto& samples =
                std::find_if(sounds.begin(), sounds.end(), [&](const auto& s) { return s.name == name; })->samples;
            sound.insert(sound.end(), samples.begin(), samples.end());
        }
    }
    double worst = 0.0;
    for (const std::int32_t tenths : {60, 120, 200}) {
        const LimiterSound played{"", tenths, {}};
        worst = std::max(worst, excessOf({&played, play(sound, lineOf(Setting::clean, tenths))}));
    }
    return worst;
}

} // namespace tovix::bench
