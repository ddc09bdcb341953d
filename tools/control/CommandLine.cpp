// The commands that set the settings, and the program around all commands. Every other group of commands has files of
// its own, with one function that adds them: addCommands calls it.

#include "control/Commands.h"
#include "control/DeviceCommands.h"
#include "control/ExitStatus.h"
#include "control/InstallCommands.h"
#include "control/KeepCommands.h"
#include "control/ProfileCommands.h"
#include "curves/Numbers.h"
#include "curves/Refusal.h"
#include "host/Arguments.h"
#include "host/SettingsPage.h"
#include "log/LogLine.h"
#include "settings/SettingsReport.h"
#include "text/Limits.h"

#include <CLI/CLI.hpp>
#include <tovix/Version.h>

#include <algorithm>
#include <iostream>
#include <optional>

namespace tovix::control {
namespace {

constexpr const char* footer =
    R"(Levels are in dB, frequencies in Hz. "off" puts a '#' before the line, so that "on" brings it back; a new value
replaces every line of its name, switched off or not, and a new boost those of Boost and Maximizer. Lines of other
names stay as they are.

The settings live as long as an effect or a control program has them open: with no audio running, use
--hold, or keep, which also brings them back in the next session and after a restart.

Exit status:
   0 done, 1 failed, 2 wrong command line, 3 refused by the rules of the settings, 4 no settings page, 5 registry not
   writable, 6 curve file not readable, 7 no such profile, 8 a file of the user's not readable or writable, 9 autostart
   entry of another program
   10 not elevated, 11 registry refused, 12 a value of another type, 13 file in use, 14 disk full, 15 file refused,
   16 no such device, 17 more than one device meant, 18 audio service does not stop or start, 19 not installed)";

/// The values of the command line; each subcommand fills in those that it has.
struct Values {
    Output output;
    std::string value;
    std::string file;
    std::size_t fitPoints = 0;
    bool limit = false;
    bool clean = false;
    bool replaceAll = false;
    std::uint32_t logLevel = 0;
    std::vector<std::string> lines;
};

const CLI::Validator onOrOff = CLI::IsMember({"on", "off"});

void addBoost(CLI::App& app, Values& v) {
    auto* const command = app.add_subcommand("boost", "Raise the level");
    command->add_option("LEVEL", v.value, "0 to " + formatDecimal(maxBoostDb) + " dB, as in 6.0; or on, off")
        ->required();
    auto* const limit =
        command->add_flag("--limit", v.limit, "Hold peaks at full scale by bending them: the loudest, distorted");
    command->add_flag("--clean", v.clean, "Hold peaks at full scale by turning down: loud, without distortion")
        ->excludes(limit);
    command->callback([&v] {
        if (v.value == "on" || v.value == "off") {
            if (v.limit || v.clean) {
                throw CLI::ValidationError(v.limit ? "--limit" : "--clean", "goes with a level, not with on or off");
            }
            changeSettings([&v](auto text) { return switchBoost(text, v.value == "on"); }, v.output);
        } else {
            const auto kind = v.clean ? BoostKind::clean : v.limit ? BoostKind::limited : BoostKind::plain;
            changeSettings([&v, kind](auto text) { return changeBoost(text, v.value, kind); }, v.output);
        }
    });
}

void runEqualizer(const Values& v) {
    if (v.value == "on" || v.value == "off") {
        changeSettings([&v](auto text) { return switchEqualizer(text, v.value == "on"); }, v.output);
        return;
    }
    const WantedCurve curve = v.file.empty() ? readPointList(v.value) : readCurve(readCurveFile(v.file));
    const auto fit = v.fitPoints > 0 ? std::optional(v.fitPoints) : std::nullopt;
    changeSettings([&](auto text) { return changeEqualizer(text, curve, fit); }, v.output);
}

void addEqualizer(CLI::App& app, Values& v) {
    auto* const command = app.add_subcommand("eq", "Shape the spectrum");
    auto* const points = command->add_option(
        "POINTS", v.value, "Pairs of Hz and dB in one argument, as in \"100 -3 1000 0\"; or on, off");
    auto* const file = command->add_option("--file", v.file,
                                           "Read the curve from a file: one point a line, a GraphicEQ line, or a "
                                           "parametric list (PK, LS, LSC, HS, HSC with Fc, Gain and Q)");
    auto* const fit =
        command->add_option("--fit", v.fitPoints, "Thin the curve to at most N points, with the least change")
            ->check(CLI::Range(1, 1000));
    points->excludes(file);
    command->callback([&v, points, file, fit] {
        if (points->count() + file->count() == 0) {
            throw CLI::RequiredError("POINTS or --file");
        }
        if ((v.value == "on" || v.value == "off") && fit->count() > 0) {
            throw CLI::ValidationError("--fit", "goes with a curve, not with on or off");
        }
        runEqualizer(v);
    });
}

void addPreviousEffect(CLI::App& app, Values& v) {
    auto* const command = app.add_subcommand("old-apo", "Run the device's previous effect first, or not");
    command->add_option("SWITCH", v.value, "on or off")->required()->check(onOrOff);
    command->callback([&v] { setPreviousEffect(v.value == "on", v.output); });
}

void addSet(CLI::App& app, Values& v) {
    auto* const command =
        app.add_subcommand("set", "Write settings lines as they are, as in \"Boost: 60 dB 1\" (tenths of a dB)");
    command->add_option("LINE", v.lines, "Each replaces the lines of its name")->required();
    command->add_flag("--replace", v.replaceAll, "Drop all other lines");
    command->callback(
        [&v] { changeSettings([&v](auto text) { return setLines(text, v.lines, v.replaceAll); }, v.output); });
}

void addLogLevel(CLI::App& app, Values& v) {
    constexpr auto highestLevel = static_cast<std::uint32_t>(LogLevel::Debug);
    auto* const command = app.add_subcommand("log-level", "Set the effect's log level in the registry");
    command->add_option("N", v.logLevel, "0 none, 1 fatal, 2 error, 3 warning, 4 info, 5 debug")
        ->required()
        ->check(CLI::Range(std::uint32_t{0}, highestLevel));
    command->callback([&v] {
        refuseHold(v.output);
        setLogLevel(v.logLevel, v.output);
    });
}

void addSettingsCommands(CLI::App& app, Values& v) {
    app.add_subcommand("status", "Show the settings, what each line does, and the registry values")->callback([&v] {
        refuseHold(v.output);
        showStatus(v.output);
    });
    addBoost(app, v);
    addEqualizer(app, v);
    addPreviousEffect(app, v);
    addSet(app, v);
    app.add_subcommand("watch", "Show the settings after each change and keep them open, until Ctrl-C")
        ->callback([&v] { watchSettings(v.output); });
    addLogLevel(app, v);
}

void addCommands(CLI::App& app, Values& v) {
    app.allow_windows_style_options(false); // a path may begin with a slash
    app.require_subcommand(1);
    app.fallthrough();
    app.footer(footer);
    app.set_version_flag("--version", "tovixctl " TOVIX_VERSION, "Print the version and exit");
    app.add_flag("--json", v.output.json, "Print data, one JSON object a line");
    app.add_flag("--hold", v.output.hold, "After a change keep the settings open until Ctrl-C");
    addSettingsCommands(app, v);
    addProfileCommands(app, v.output);
    addKeepCommands(app, v.output);
    addInstallCommands(app, v.output);
    addDeviceCommands(app, v.output);
}

int fail(const char* sentence, ExitStatus status) {
    std::cerr << "tovixctl: " << printable(sentence) << "\n";
    return static_cast<int>(status);
}

int run(std::vector<std::string> arguments) {
    CLI::App app("Controls the Tovix audio effect.", "tovixctl");
    Values values;
    try {
        addCommands(app, values);
        // CLI11 takes the arguments from the back.
        std::reverse(arguments.begin(), arguments.end());
        app.parse(std::move(arguments));
        return static_cast<int>(ExitStatus::done);
    } catch (const CLI::RuntimeError& end) { // of another program that has said why
        return end.get_exit_code();
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : static_cast<int>(ExitStatus::usage);
    } catch (const SettingsPageUnavailable& unavailable) {
        return fail(unavailable.what(), ExitStatus::noSettingsPage);
    } catch (const CommandFailure& failure) {
        return fail(failure.what(), failure.status());
    } catch (const keep::KeepRefusal& refusal) {
        return fail(refusal.what(), exitStatusOf(refusal.status()));
    } catch (const install::InstallRefusal& refusal) {
        return fail(refusal.what(), exitStatusOf(refusal.status()));
    } catch (const Refusal& refusal) {
        return fail(refusal.what(), ExitStatus::refused);
    } catch (const std::exception& error) {
        return fail(error.what(), ExitStatus::failed);
    }
}

} // namespace
} // namespace tovix::control

// NOLINTNEXTLINE(bugprone-exception-escape): memory may run out while the command line is read or a failure is told
int main(int argc, char** argv) {
    return tovix::control::run(tovix::programArguments(argc, argv));
}
