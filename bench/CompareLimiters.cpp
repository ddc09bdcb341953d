// Holds the two limiters of the effect beside limiters of other programs, all on the same sounds.
//
//     tovix-compare-limiters write FOLDER
//         the sounds as FOLDER/in/NAME.wav; what the effect makes of them as FOLDER/off, limit and clean; of each its
//         name and the decibels that it is raised by, in FOLDER/sounds.txt
//     tovix-compare-limiters measure FOLDER PEER=TITLE...
//         the tables, with a column of that title for what is in FOLDER/PEER
//     tovix-compare-limiters costs
//         what the effect's own limiters cost

#include "LimiterCosts.h"
#include "LimiterSounds.h"
#include "LimiterTable.h"
#include "Measurements.h"
#include "OwnLimiters.h"
#include "render/files/ProgramEnd.h"
#include "render/sound/FileSink.h"
#include "render/sound/SoundSource.h"

#include <sndfile.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

using namespace tovix;
using namespace tovix::bench;

namespace {

namespace fs = std::filesystem;

void writeFile(const fs::path& path, const std::vector<float>& samples) {
    const render::SourceFormat format{.sampleRateHz = soundRateHz,
                                      .channels = 2,
                                      .channelMask = 0x3,
                                      .frames = samples.size() / 2,
                                      .fileFormat = SF_FORMAT_WAV | SF_FORMAT_FLOAT};
    fs::create_directories(path.parent_path());
    render::FileSink sink(path.string(), format, {.channels = 2, .channelMask = 0x3});
    sink.write(samples.data(), samples.size() / 2);
    sink.commit();
}

std::vector<float> readFile(const fs::path& path) {
    const auto source = render::openFile(path.string());
    std::vector<float> samples(source->format().frames * 2);
    samples.resize(2 * source->read(samples.data(), source->format().frames));
    return samples;
}

void write(const fs::path& folder) {
    const std::pair<const char*, Setting> own[]{
        {"off", Setting::off}, {"limit", Setting::limit}, {"clean", Setting::clean}};
    fs::create_directories(folder);
    std::ofstream list(folder / "sounds.txt");
    for (const LimiterSound& sound : makeLimiterSounds()) {
        const std::string file = std::string(sound.name) + ".wav";
        writeFile(folder / "in" / file, sound.samples);
        for (const auto& [name, setting] : own) {
            writeFile(folder / name / file, play(sound.samples, lineOf(setting, sound.tenths)));
        }
        list << sound.name << ' ' << sound.tenths / 10.0 << '\n';
    }
}

Contestant read(const fs::path& folder, const std::string& title, const std::vector<LimiterSound>& sounds) {
    Contestant contestant{.title = title};
    for (const LimiterSound& sound : sounds) {
        const fs::path file = folder / (std::string(sound.name) + ".wav");
        if (fs::exists(file)) {
            contestant.takes[sound.name] = {&sound, readFile(file)};
        }
    }
    if (contestant.takes.size() != sounds.size()) {
        contestant.takes.clear();
        return contestant;
    }
    contestant.delayFrames = delayOf(contestant.takes["impulse"]);
    for (auto& [name, take] : contestant.takes) {
        take.output.erase(take.output.begin(),
                          take.output.begin() + static_cast<std::ptrdiff_t>(2 * contestant.delayFrames));
    }
    return contestant;
}

void printCount(const Outcome& outcome) {
    std::printf("\n%d bars met, %d missed\n", outcome.met, outcome.missed);
}

void printOwn(const std::vector<LimiterSound>& sounds, Outcome& outcome) {
    const double step = worstChangeStep();
    const double excess = 1e6 * excessOfTenMillionFrames(sounds);
    // The slope of the fade between two levels comes on top of the sound's own.
    constexpr double noLarger = 1.0001;
    std::printf("\n| `--clean` alone | | bar | |\n|---|---:|---:|---|\n");
    std::printf(
        "| largest step at a change of the settings, over the larger one before and after | %.6f | ≤ 1.0001 | %s |\n",
        step, outcome.judge(step, {}, noLarger));
    std::printf("| over the ceiling in 10 million frames of programme with bursts and of noise, millionths | %.2g | "
                "≤ 0.2 | %s |\n",
                excess, outcome.judge(excess, {}, 0.2));
}

void measure(const fs::path& folder, const std::vector<std::string>& peers) {
    const std::vector<LimiterSound> sounds = makeLimiterSounds();
    std::vector<Contestant> contestants{read(folder / "off", "off", sounds),
                                        read(folder / "limit", "`--limit`", sounds),
                                        read(folder / "clean", "`--clean`", sounds)};
    const std::size_t judged = contestants.size() - 1;
    for (const std::string& peer : peers) {
        const auto sign = peer.find('=');
        contestants.push_back(read(folder / peer.substr(0, sign), peer.substr(sign + 1), sounds));
    }
    Outcome outcome;
    printLimiterTable(contestants, judged, outcome);
    printOwn(sounds, outcome);
    printCount(outcome);
}

int run(const std::vector<std::string>& arguments) {
    const std::string mode = arguments.empty() ? "" : arguments.front();
    if (mode == "write" && arguments.size() == 2) {
        write(arguments[1]);
    } else if (mode == "measure" && arguments.size() >= 2) {
        measure(arguments[1], {arguments.begin() + 2, arguments.end()});
    } else if (mode == "costs" && arguments.size() == 1) {
        Outcome outcome;
        printLimiterCosts(outcome);
        printCount(outcome);
    } else {
        std::fputs("usage: tovix-compare-limiters write FOLDER | measure FOLDER PEER=TITLE... | costs\n", stderr);
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}

} // namespace

int main(int argc, char** argv) {
    switchDenormalsOff();
    try {
        return run({argv + 1, argv + argc});
    } catch (const std::exception& error) {
        std::fprintf(stderr, "tovix-compare-limiters: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
