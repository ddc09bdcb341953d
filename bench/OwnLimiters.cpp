#include "OwnLimiters.h"

#include "LimiterFigures.h"
#include "render/engine/CoreEngine.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace tovix::bench {
namespace {

constexpr std::uint32_t blockFrames = 480;

/// The largest step within 20 ms of a change of the settings, over the larger one before and after.
double changeStep(Setting from, std::int32_t fromTenths, Setting to, std::int32_t toTenths, float amplitude) {
    constexpr std::size_t changeFrame = 100 * std::size_t{blockFrames};
    std::vector<float> sound;
    for (std::size_t f = 0; f < 2 * changeFrame; ++f) {
        const auto time = static_cast<double>(f);
        sound.push_back(amplitude * static_cast<float>(std::sin(0.13 * time)));
        sound.push_back(amplitude * static_cast<float>(0.6 * std::sin(0.047 * time + 1.0)));
    }
    const std::string next = lineOf(to, toTenths);
    const std::vector<float> output = play(sound, lineOf(from, fromTenths), next, changeFrame);
    const std::size_t first = changeFrame - framesOf(1);
    const std::size_t end = changeFrame + framesOf(20);
    double worst = 0.0;
    for (const std::size_t channel : {0U, 1U}) {
        const double own = std::max(largestStep(output, channel, first - framesOf(200), first),
                                    largestStep(output, channel, end + framesOf(500), 2 * changeFrame));
        worst = std::max(worst, largestStep(output, channel, first, end) / own);
    }
    return worst;
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
    // 10 ms four times as loud in every half second.
    for (std::size_t f = 0; f < sound.size() / 2; ++f) {
        const float loudness = f % framesOf(500) < burstFrames ? 4.0F : 1.0F;
        sound[2 * f] *= loudness;
        sound[2 * f + 1] *= loudness;
    }
    double worst = 0.0;
    for (const auto& [tenths, ceiling] : {std::pair{60, 0}, {120, 0}, {200, 0}, {120, -10}, {60, -37}}) {
        const std::string line = lineOf(Setting::clean, tenths) + ' ' + std::to_string(ceiling);
        worst = std::max(worst, excessOf({nullptr, play(sound, line)}, std::pow(10.0, ceiling / 200.0)));
    }
    return worst;
}

} // namespace tovix::bench
