#include "control/KeepCommands.h"

#include "control/ExitStatus.h"
#include "control/StatusReport.h"
#include "keep/Autostart.h"
#include "keep/BackgroundProgram.h"
#include "keep/EndOfSession.h"
#include "keep/Keeper.h"
#include "keep/KeeperInstance.h"
#include "keep/UserFolder.h"
#include "keep/WholeFile.h"
#include "settings/SettingsReport.h"
#include "text/Utf.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <iostream>
#include <memory>

namespace tovix::control {
namespace {

using Json = nlohmann::ordered_json;

/// The ways in which `keep` runs.
struct KeepFlags {
    bool foreground = false;
    /// In the program that the starter waits for.
    bool background = false;
    bool stop = false;
};

void report(const Json& data, const std::string& text, const Output& output) {
    std::cout << (output.json ? data.dump() + "\n" : text) << std::flush;
}

void reportKeeping(const keep::Keeper& keeper, const Output& output) {
    const auto file = keep::textOfPath(keeper.file());
    const auto text = keeper.text();
    Json data{
        {"keep", {{"state", text ? "holds" : "waits"}, {"broughtBack", keeper.hasBroughtBack()}, {"file", file}}},
        {"settings", nullptr}};
    if (!text) {
        report(data, "The settings page is waited for; the last settings come back with it.\n", output);
        return;
    }
    data["settings"] = settingsData(*text);
    report(data,
           (keeper.hasBroughtBack() ? "The last settings are back; changes go to \""
                                    : "The settings and their changes go to \"") +
               file + "\":\n" + describeLines(*text),
           output);
}

/// Looks until the program is to end. One in the background lets its starter go once no end can be missed.
void keepUntilEnd(keep::Keeper& keeper, HANDLE hStop, bool inBackground) {
    // Short where sound may begin without the settings; a change has time to be written down.
    constexpr DWORD waitingPeriodMs = 50;
    constexpr DWORD holdingPeriodMs = 200;
    const keep::EndOfSession endOfSession([&keeper]() noexcept { keeper.finish(); }, hStop);
    if (inBackground) {
        keep::letStarterGo();
    }
    while (::MsgWaitForMultipleObjects(1, &hStop, FALSE, keeper.holdsPage() ? holdingPeriodMs : waitingPeriodMs,
                                       QS_ALLINPUT) != WAIT_OBJECT_0) {
        keep::EndOfSession::dispatch();
        keeper.look();
    }
    keeper.finish();
}

void keepHere(bool inBackground, const Output& output) {
    const auto instance = keep::KeeperInstance::claim();
    if (!instance) {
        report({{"keep", {{"state", "runsAlready"}}}}, "The settings of this session are kept already.\n", output);
        return;
    }
    keep::Keeper keeper(keep::lastSettingsFile(),
                        [](const auto& sentence) { std::cerr << "Note: " << printable(sentence) << std::endl; });
    keeper.look();
    keeper.tryFile();
    reportKeeping(keeper, output);
    keepUntilEnd(keeper, instance->stopEvent(), inBackground);
}

int keepInBackground(const Output& output) {
    const auto started = keep::startInBackground(output.json ? L"keep --background --json" : L"keep --background");
    std::cout << started.output << std::flush;
    std::cerr << started.errors << std::flush;
    return started.status;
}

void stopKeeping(const Output& output) {
    const bool stopped = keep::KeeperInstance::stop();
    report({{"keep", {{"state", stopped ? "stopped" : "off"}}}},
           stopped ? "The settings are no longer kept.\n" : "Nothing keeps the settings of this session.\n", output);
}

int runKeep(const KeepFlags& flags, const Output& output) {
    if (flags.stop) {
        stopKeeping(output);
    } else if (flags.foreground || flags.background) {
        keepHere(flags.background, output);
    } else {
        return keepInBackground(output);
    }
    return 0;
}

void reportAutostart(const keep::Autostart& autostart, const Output& output) {
    const auto entry = encodeUtf8(autostart.entry);
    report({{"autostart", autostartData(autostart.state, entry)}}, describeAutostart(autostart.state, entry), output);
}

/// Keeps the settings from here on too: what is to be there after a restart must have been written down.
int switchAutostart(bool on, const Output& output) {
    if (on) {
        keep::switchAutostartOn();
    } else {
        keep::removeAutostart();
    }
    reportAutostart(keep::readAutostart(), output);
    if (on) {
        return keepInBackground(output);
    }
    if (keep::KeeperInstance::runs()) {
        std::cerr << "Note: The settings are kept until this session ends; keep --stop ends that at once.\n";
    }
    return 0;
}

/// A command whose status is that of another program.
void endWith(int status) {
    if (status != 0) {
        throw CLI::RuntimeError(status);
    }
}

} // namespace

void addKeepCommands(CLI::App& app, const Output& output) {
    const auto flags = std::make_shared<KeepFlags>();
    auto* const keep = app.add_subcommand(
        "keep", "Bring the last settings back, keep them open and write every change down, in the background");
    auto* const stop = keep->add_flag("--stop", flags->stop, "End that, and wait until it has ended");
    keep->add_flag("--foreground", flags->foreground, "Do it in this program, until Ctrl-C")->excludes(stop);
    keep->add_flag("--background", flags->background)->group("");
    keep->callback([flags, &output] {
        refuseHold(output);
        endWith(runKeep(*flags, output));
    });

    const auto wanted = std::make_shared<std::string>();
    auto* const autostart =
        app.add_subcommand("autostart", "Whether keep starts with this user's session; on starts it at once too");
    autostart->add_option("SWITCH", *wanted, "on or off")->required()->check(CLI::IsMember({"on", "off"}));
    autostart->callback([wanted, &output] {
        refuseHold(output);
        endWith(switchAutostart(*wanted == "on", output));
    });
}

} // namespace tovix::control
