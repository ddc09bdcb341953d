#include "control/CommandLine.h"

#include "control/Commands.h"
#include "control/StatusReport.h"
#include "settings/Refusal.h"
#include "settings/SettingsRules.h"

#include <CLI/CLI.hpp>
#include <tovix/Version.h>

#include <algorithm>
#include <iostream>
#include <optional>

namespace tovix::control {
namespace {

constexpr const char* footer =
    R"(Levels are in dB, frequencies in Hz. "off" puts a '#' before the line, so that "on" brings it back; a new value
replaces every line of its name, switched off or not. Lines of other names stay as they are.

The settings live as long as an effect or a control program has them open: with no audio running, use --hold.

Exit status: 0 done, 1 failed, 2 wrong command line, 3 refused by the rules of the settings, 4 no settings block,
5 registry not writable, 6 curve file not readable.)";

/// What the command line can set; each subcommand fills what it has.
struct Wishes {
    Output output;
    std::string value;
    std::string file;
    std::size_t fitPoints = 0;
    bool limit = false;
    bool replaceAll = false;
    std::uint32_t logLevel = 0;
    std::vector<std::string> lines;
};

void refuseHold(const Wishes& w) {
    if (w.output.hold) {
        throw CLI::ValidationError("--hold",
                                   "goes with a change of the settings; without one, watch keeps them open");
    }
}

const CLI::Validator onOrOff = CLI::IsMember({"on", "off"});

void addBoost(CLI::App& app, Wishes& w) {
    auto* const command = app.add_subcommand("boost", "Raise the level");
    command->add_option("LEVEL", w.value, "0 to 20 dB, as in 6.0; or on, off")->required();
    auto* const limit = command->add_flag("--limit", w.limit, "Hold peaks at full scale");
    command->callback([&w, limit] {
        if (w.value == "on" || w.value == "off") {
            if (limit->count() > 0) {
                throw CLI::ValidationError("--limit", "goes with a level, not with on or off");
            }
            changeSettings([&w](auto block) { return switchLines(block, boostName, w.value == "on"); }, w.output);
        } else {
            changeSettings([&w](auto block) { return changeBoost(block, w.value, w.limit); }, w.output);
        }
    });
}

void runEqualizer(const Wishes& w) {
    if (w.value == "on" || w.value == "off") {
        changeSettings([&w](auto block) { return switchLines(block, equalizerName, w.value == "on"); }, w.output);
        return;
    }
    const WantedCurve curve = w.file.empty() ? readPointList(w.value) : readCurve(readCurveFile(w.file));
    const auto fit = w.fitPoints > 0 ? std::optional(w.fitPoints) : std::nullopt;
    changeSettings([&](auto block) { return changeEqualizer(block, curve, fit); }, w.output);
}

void addEqualizer(CLI::App& app, Wishes& w) {
    auto* const command = app.add_subcommand("eq", "Shape the spectrum");
    auto* const points = command->add_option(
        "POINTS", w.value, "Pairs of Hz and dB in one argument, as in \"100 -3 1000 0\"; or on, off");
    auto* const file = command->add_option("--file", w.file,
                                           "Read the curve from a file: one point a line, a GraphicEQ line, or a "
                                           "parametric list (PK, LS, LSC, HS, HSC with Fc, Gain and Q)");
    auto* const fit =
        command->add_option("--fit", w.fitPoints, "Thin the curve to at most N points, with the least change")
            ->check(CLI::Range(1, 1000));
    points->excludes(file);
    command->callback([&w, points, file, fit] {
        if (points->count() + file->count() == 0) {
            throw CLI::RequiredError("POINTS or --file");
        }
        if ((w.value == "on" || w.value == "off") && fit->count() > 0) {
            throw CLI::ValidationError("--fit", "goes with a curve, not with on or off");
        }
        runEqualizer(w);
    });
}

void addOldApo(CLI::App& app, Wishes& w) {
    auto* const command = app.add_subcommand("old-apo", "Run the device's previous effect first, or not");
    command->add_option("SWITCH", w.value, "on or off")->required()->check(onOrOff);
    command->callback([&w] { setOldApo(w.value == "on", w.output); });
}

void addSet(CLI::App& app, Wishes& w) {
    auto* const command =
        app.add_subcommand("set", "Write settings lines as they are, as in \"Boost: 60 dB 1\" (tenths of a dB)");
    command->add_option("LINE", w.lines, "Each replaces the lines of its name")->required();
    command->add_flag("--replace", w.replaceAll, "Drop all other lines");
    command->callback(
        [&w] { changeSettings([&w](auto block) { return setLines(block, w.lines, w.replaceAll); }, w.output); });
}

void addLogLevel(CLI::App& app, Wishes& w) {
    constexpr std::uint32_t highestLevel = 5;
    auto* const command = app.add_subcommand("log-level", "Set the effect's log level in the registry");
    command->add_option("N", w.logLevel, "0 none, 1 fatal, 2 error, 3 warning, 4 info, 5 debug")
        ->required()
        ->check(CLI::Range(std::uint32_t{0}, highestLevel));
    command->callback([&w] {
        refuseHold(w);
        setLogLevel(w.logLevel, w.output);
    });
}

void addCommands(CLI::App& app, Wishes& w) {
    app.allow_windows_style_options(false); // a path may begin with a slash
    app.require_subcommand(1);
    app.fallthrough();
    app.footer(footer);
    app.set_version_flag("--version", "tovixctl " TOVIX_VERSION, "Print the version and exit");
    app.add_flag("--json", w.output.json, "Answer with data, one JSON object a line");
    app.add_flag("--hold", w.output.hold, "After a change keep the settings open until Ctrl-C");
    app.add_subcommand("status", "Show the settings, what each line does, and the registry values")->callback([&w] {
        refuseHold(w);
        showStatus(w.output);
    });
    addBoost(app, w);
    addEqualizer(app, w);
    addOldApo(app, w);
    addSet(app, w);
    app.add_subcommand("watch", "Show the settings after each change and keep them open, until Ctrl-C")
        ->callback([&w] { watchSettings(w.output); });
    addLogLevel(app, w);
}

} // namespace

int runCommandLine(std::vector<std::string> arguments) {
    CLI::App app("Controls the Tovix audio effect.", "tovixctl");
    Wishes wishes;
    try {
        addCommands(app, wishes);
        std::reverse(arguments.begin(), arguments.end());
        app.parse(std::move(arguments));
        return static_cast<int>(ExitStatus::done);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : static_cast<int>(ExitStatus::usage);
    } catch (const Refusal& refusal) {
        std::cerr << "tovixctl: " << printable(refusal.what()) << "\n";
        return static_cast<int>(refusal.status());
    } catch (const std::exception& error) {
        std::cerr << "tovixctl: " << error.what() << "\n";
        return static_cast<int>(ExitStatus::failed);
    }
}

} // namespace tovix::control
