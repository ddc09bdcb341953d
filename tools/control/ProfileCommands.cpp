#include "control/ProfileCommands.h"

#include "control/Commands.h"
#include "control/ExitStatus.h"
#include "host/ControllersTurn.h"
#include "host/SettingsPage.h"
#include "keep/Profiles.h"
#include "keep/UserFolder.h"
#include "keep/WholeFile.h"
#include "settings/SettingsReport.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <iostream>
#include <memory>

namespace tovix::control {
namespace {

using Json = nlohmann::ordered_json;

keep::Profiles openProfiles() {
    return keep::Profiles(keep::profilesFolder());
}

Json profileData(const std::string& name, const keep::Profiles& profiles) {
    return {{"profile", utf8Text(name)}, {"file", keep::textOfPath(profiles.file(name))}};
}

/// The settings text as no other control program is just changing it.
std::string currentText() {
    const ControllersTurn turn;
    const auto page = SettingsPage::open();
    if (!page) {
        throw CommandFailure(ExitStatus::noSettingsPage,
                             "There is no settings page, and so there are no settings to save; play something, or "
                             "set them with --hold.");
    }
    return page->text();
}

void saveProfile(const std::string& name, const Output& output) {
    auto profiles = openProfiles();
    const std::string text = currentText();
    const bool replaced = profiles.save(name, text);
    if (output.json) {
        Json data = profileData(name, profiles);
        data["replaced"] = replaced;
        data["settings"] = settingsData(text);
        std::cout << data.dump() << "\n";
    } else {
        std::cout << (replaced ? "Replaced \"" : "Saved \"") << printable(name) << "\":\n" << describeLines(text);
    }
}

void loadProfile(const std::string& name, const Output& output) {
    auto settings = openProfiles().load(name);
    changeSettings([&settings](std::string_view) { return std::move(settings); }, output);
}

void listProfiles(const Output& output) {
    const auto profiles = openProfiles();
    for (const auto& name : profiles.names()) {
        Json data = profileData(name, profiles);
        std::string line;
        try {
            const auto text = profiles.load(name).text;
            data["settings"] = settingsData(text);
            line = summarizeLines(text);
        } catch (const Refusal& refusal) {
            data["refused"] = utf8Text(refusal.what());
            line = std::string("refused: ") + printable(refusal.what());
        }
        std::cout << (output.json ? data.dump() : printable(name) + ": " + line) << "\n";
    }
}

void showProfile(const std::string& name, const Output& output) {
    const auto profiles = openProfiles();
    const auto text = profiles.load(name).text;
    if (output.json) {
        Json data = profileData(name, profiles);
        data["settings"] = settingsData(text);
        std::cout << data.dump() << "\n";
    } else {
        std::cout << describeLines(text);
    }
}

void deleteProfile(const std::string& name, const Output& output) {
    auto profiles = openProfiles();
    const Json data = profileData(name, profiles);
    profiles.remove(name);
    std::cout << (output.json ? data.dump() : "Deleted \"" + printable(name) + "\".") << "\n";
}

} // namespace

void addProfileCommands(CLI::App& app, const Output& output) {
    auto* const profile = app.add_subcommand("profile", "Save settings under a name, and load them again");
    profile->require_subcommand(1);
    const auto name = std::make_shared<std::string>();
    const auto add = [&](const char* command, const char* description, void (*run)(const std::string&, const Output&),
                         bool changesSettings) {
        auto* const added = profile->add_subcommand(command, description);
        added->add_option("NAME", *name, "As a file may be called")->required();
        added->callback([name, &output, run, changesSettings] {
            if (!changesSettings) {
                refuseHold(output);
            }
            run(*name, output);
        });
    };
    add("save", "Save the settings as they are, also over a profile of that name", saveProfile, false);
    add("load", "Put a profile's settings in place of the whole settings text", loadProfile, true);
    add("show", "Show a profile's lines, and what each does", showProfile, false);
    add("delete", "Delete a profile", deleteProfile, false);
    profile->add_subcommand("list", "List the profiles, with what each does")->callback([&output] {
        refuseHold(output);
        listProfiles(output);
    });
}

} // namespace tovix::control
