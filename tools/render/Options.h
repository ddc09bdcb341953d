#pragma once

#include "render/engine/Engine.h"
#include "render/engine/SettingsPlan.h"
#include "render/sound/OutputKind.h"

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace tovix::render {

/// The most frames that a block may have.
constexpr std::int64_t largestBlockFrames = 65536;

enum class ReportFormat { text, json };

/// The command line. Paths are UTF-8; an empty path means that the option was not given.
struct Options {
    bool demo = false;
    std::string inputPath;
    std::string outputPath;
    SettingsChoice settings;
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

/// [control] Reads the arguments after the program's name. Returns nothing when they ask for help, which is then
/// written to `out`. Throws RenderError (usage).
std::optional<Options> parseOptions(const std::vector<std::string>& arguments, std::ostream& out);

} // namespace tovix::render
