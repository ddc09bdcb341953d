#pragma once

#include "support/TemporaryFolder.h"

#include <sndfile.h>

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace tovix::render {

/// A folder of its own for each test, gone with it.
class TestFolder : public test::TemporaryFolder {
public:
    /// The path of a file in it, in UTF-8.
    [[nodiscard]] std::string file(const std::string& name) const;
    /// The names in it, sorted.
    [[nodiscard]] std::vector<std::string> names() const;
};

void writeText(const std::string& path, const std::string& text);
/// The cells of a comma-separated table, row by row.
std::vector<std::vector<std::string>> readTable(const std::filesystem::path& path);

/// A sound file as it lies on disk; interleaved samples.
struct Sound {
    int sampleRateHz = 48000;
    int channels = 2;
    /// libsndfile's format word.
    int format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    std::vector<float> samples;
    /// libsndfile's channel map, if the file names its speakers.
    std::vector<int> channelMap;

    [[nodiscard]] std::size_t frames() const { return samples.size() / static_cast<std::size_t>(channels); }
    [[nodiscard]] float at(std::size_t frame, int channel) const;
};

/// A sound of the given length whose sample at (seconds, channel) `sampleAt` gives.
Sound makeSound(int channels, double seconds, const std::function<double(double, int)>& sampleAt);

/// The same sine in every channel.
Sound sineSound(int channels, double seconds, double hz, double amplitude);

void writeSound(const std::string& path, const Sound& sound);
Sound readSound(const std::string& path);

/// What a run of the program gave.
struct Outcome {
    int status = 0;
    std::string out;
    std::string err;
};

/// Runs the whole program in this process, with the core for its engine.
Outcome runRender(std::vector<std::string> arguments);

/// Runs it with the engine that it takes by itself.
Outcome runProgramAsIs(const std::vector<std::string>& arguments);

} // namespace tovix::render
