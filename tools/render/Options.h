#pragma once

#include "render/engine/EngineChoice.h"

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace tovix::render {

enum class ReportFormat { text, json };

/// How the output's samples are stored.
enum class SampleFormat { float32, likeInput };

/// A change of settings in mid-file.
struct TimedLines {
    double seconds = 0.0;
    std::vector<std::string> lines;
};

/// The command line. Paths and lines are UTF-8; an empty path means that the option was not given.
struct Options {
    bool demo = false;
    std::string inputPath;
    std::string outputPath;
    std::string settingsPath;
    std::vector<std::string> setLines;
    std::vector<TimedLines> changes;
    std::optional<std::int64_t> blockFrames;
    std::optional<std::int64_t> outputChannels;
    SampleFormat sampleFormat = SampleFormat::float32;
    std::string responsePath;
    std::string levelsPath;
    EngineChoice engine;
    /// Slowed to the pace at which the sound would be heard.
    bool realtime = false;
    ReportFormat reportFormat = ReportFormat::text;
    bool quiet = false;
};

/// Reads the arguments after the program's name. None when help was asked for, which is then written to `out`.
/// Throws RenderError (usage).
std::optional<Options> parseOptions(const std::vector<std::string>& arguments, std::ostream& out);

} // namespace tovix::render
