#include "render/Options.h"

#include "curves/Numbers.h"
#include "render/files/ProgramEnd.h"
#include "text/Limits.h"

#include <CLI/CLI.hpp>
#include <tovix/Version.h>

#include <algorithm>
#include <array>
#include <ostream>
#include <string_view>
#include <utility>

namespace tovix::render {
namespace {

constexpr auto description = "Plays a sound file through the effect, block by block, and says what that did to it.";

/// Names in braces stand for limits, see withLimits.
constexpr auto footer = R"(Settings are lines of a name, a colon and parameters:
  Boost: LEVEL dB MODE        LEVEL in tenths of a dB; MODE 1: with a limiter at full scale, else plain up to {boost} dB
  Maximizer: LEVEL dB CEILING a level with a limiter that does not bend the sound; CEILING in tenths of a dB below 0,
                              or nothing for full scale
  Equalizer: HZ DB HZ DB ...  the points of the response
A leading '#' switches a line off. Filters run in the order of their lines. All lines together are at most {text} bytes.
Without any line there is an equalizer, and a boost of 6 dB after it.

Lines that come later (--set after --settings, --at after both) replace the lines of the same name, switched off or
not, and keep all others; a line with a new name, or without a colon, goes to the end. Several --set lines of one name
all count.
A change (--at) is announced before the first block that begins at or after its moment, and fades in over 10 ms. File
names stand before --at, which takes what follows it for lines.

The input is any sound file that libsndfile reads. The output's kind follows the ending of its name; one that does not
work is refused with a list of those that do. A kind without 32-bit float gets the nearest that it has: 24 bit in
.flac, Vorbis in .ogg. Output appears under its name only when it is complete.

Exit status: 0 done; 1 unexpected failure; 2 command line not understood; 3 input unreadable or empty; 4 rate
({rate} Hz) or channel count ({channels}) out of range; 5 settings longer than {text} bytes; 6 a settings line
builds nothing; 7 block out of range ({block} frames); 8 changes out of order or beyond the end; 9 output cannot be
written; 10 settings file unreadable; 130 interrupted.)";

std::string withLimits(std::string text) {
    const auto range = [](auto lowest, auto highest) {
        return std::to_string(lowest) + " to " + std::to_string(highest);
    };
    const std::array<std::pair<std::string_view, std::string>, 5> limits{
        {{"{boost}", formatDecimal(maxBoostDb)},
         {"{text}", std::to_string(longestSettingsTextBytes)},
         {"{rate}", range(minSampleRateHz, maxSampleRateHz)},
         {"{channels}", range(1, maxChannelCount)},
         {"{block}", range(1, largestBlockFrames)}}};
    for (const auto& [name, value] : limits) {
        for (auto at = text.find(name); at != std::string::npos; at = text.find(name)) {
            text.replace(at, name.size(), value);
        }
    }
    return text;
}

TimedLines timedLines(const std::vector<std::string>& group) {
    TimedLines change;
    const auto& text = group.front();
    const auto seconds = parseDecimal(text);
    if (!seconds) {
        throw RenderError(ExitStatus::usage, "--at begins with a moment in seconds, and \"" + text + "\" is none.");
    }
    change.seconds = *seconds;
    change.lines.assign(group.begin() + 1, group.end());
    return change;
}

/// What CLI11 fills in and this program converts.
struct RawOptions {
    std::vector<std::string> files;
    std::vector<std::vector<std::string>> changes;
    std::string report = "text";
    std::string format = "float";
};

#ifdef _WIN32
void addEngineOptions(CLI::App& app, EngineChoice& engine) {
    auto* const library =
        app.add_option("--dll", engine.libraryPath, "The effect's library (Tovix64.dll beside this program)")
            ->type_name("FILE");
    auto* const registered = app.add_flag("--registered", engine.registered, "The registered effect, through COM");
    auto* const core =
        app.add_flag("--core", engine.core, "The effect's core within this program instead of the library");
    auto* const watch = app.add_flag("--watch", engine.watch,
                                     "Tell on the error stream when another program, such as tovixctl, changes the "
                                     "settings; best with --realtime");
    app.add_option("--previous-effect", engine.previousEffect,
                   "A registered effect that the device had before, as {...}: it runs first, unless a settings line "
                   "says #EnableOldApo:")
        ->type_name("CLASS");
    library->excludes(registered);
    core->excludes(library)->excludes(registered)->excludes(watch);
}
#else
/// This program has the core alone.
void addEngineOptions(CLI::App& app, EngineChoice& engine) {
    engine.core = true;
    app.add_option("--previous-effect", engine.previousEffect)->group("");
}
#endif

void addOptions(CLI::App& app, Options& options, RawOptions& raw) {
    constexpr int manyLines = 1000;
    app.add_option("files", raw.files, "The sound file to read (not with --demo) and the one to write")
        ->option_text("IN OUT");
    app.add_flag("--demo", options.demo, "Play a built-in programme of 20 s instead of a file");
    app.add_option("--set", options.settings.lines, "A settings line; may be repeated")
        ->option_text("LINE")
        ->allow_extra_args(false);
    app.add_option("--settings", options.settings.fileName, "A file of settings lines")->type_name("FILE");
    app.add_option("--at", raw.changes, "Change these lines at this moment; may be repeated, in order of time")
        ->option_text("SECONDS LINE...")
        ->type_size(2, manyLines);
    app.add_option("--block", options.blockFrames, "Frames of a block (10 ms)")->type_name("FRAMES");
    app.add_option("--channels-out", options.outputChannels, "Channels of the output (as many as the input has)")
        ->type_name("N");
    app.add_option("--format", raw.format, "Samples of the output: float (32 bit, the default) or as in the input")
        ->option_text("float|input")
        ->check(CLI::IsMember({"float", "input"}));
    app.add_option("--response", options.responsePath, "Write the equalizer's response, wanted and designed")
        ->type_name("FILE.csv");
    app.add_option("--levels", options.levelsPath, "Write the levels over time")->type_name("FILE.csv");
    app.add_option("--report", raw.report, "How to report: text (the default) or json")
        ->option_text("text|json")
        ->check(CLI::IsMember({"text", "json"}));
    app.add_flag("--realtime", options.realtime, "Take as long as the sound lasts");
    addEngineOptions(app, options.engine);
    app.add_flag("--quiet", options.quiet, "No progress bar and no text report");
}

void takeFiles(Options& options, const std::vector<std::string>& files) {
    const std::size_t wanted = options.demo ? 1 : 2;
    if (files.size() < wanted && !options.settings.changes.empty()) {
        throw RenderError(ExitStatus::usage, "a file name is missing; put the file names first, as --at takes what "
                                             "follows it for settings lines.");
    }
    if (files.size() != wanted) {
        throw RenderError(ExitStatus::usage,
                          options.demo ? "--demo needs one file name, that of the output; see --help."
                                       : "two file names are needed, the input's and the output's; see --help.");
    }
    options.inputPath = options.demo ? "" : files.front();
    options.outputPath = files.back();
}

} // namespace

std::optional<Options> parseOptions(const std::vector<std::string>& arguments, std::ostream& out) {
    CLI::App app{description, "tovix-render"};
    app.footer(withLimits(footer));
    app.set_version_flag("--version", "tovix-render " TOVIX_VERSION, "Print the version and exit");
    app.allow_windows_style_options(false); // a path may begin with a slash
    app.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    Options options;
    RawOptions raw;
    addOptions(app, options, raw);
    try {
        // CLI11 takes the arguments from the back.
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::CallForHelp&) {
        out << app.help();
        return std::nullopt;
    } catch (const CLI::CallForVersion& version) {
        out << version.what() << '\n';
        return std::nullopt;
    } catch (const CLI::ParseError& error) {
        throw RenderError(ExitStatus::usage, std::string(error.what()) + " (see --help).");
    }
    std::transform(raw.changes.begin(), raw.changes.end(), std::back_inserter(options.settings.changes), timedLines);
    options.reportFormat = raw.report == "json" ? ReportFormat::json : ReportFormat::text;
    options.sampleFormat = raw.format == "input" ? SampleFormat::likeInput : SampleFormat::float32;
    takeFiles(options, raw.files);
    options.settings.wantsPreviousEffect = options.engine.previousEffect.has_value();
    if (options.engine.core && options.settings.wantsPreviousEffect) {
        throw RenderError(ExitStatus::usage, "--previous-effect needs the effect's library, which loads that effect; "
                                             "here the effect's core runs alone.");
    }
    return options;
}

} // namespace tovix::render
