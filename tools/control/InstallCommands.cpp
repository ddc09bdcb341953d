#include "control/InstallCommands.h"

#include "control/MachineCommand.h"
#include "install/InstallFolder.h"
#include "install/Installation.h"
#include "install/Removal.h"
#include "keep/Autostart.h"
#include "keep/KeeperInstance.h"
#include "text/Utf.h"

#include <memory>

namespace tovix::control {
namespace {

struct InstallOptions {
    std::string folder;
    bool withLogger = false;
    bool allowUnsigned = false;
    MachineOptions machine;
};

void install(const InstallOptions& options, const Output& output) {
    const install::InstallationWish wish{.package = install::packageFolder(),
                                         .folder = options.folder.empty()
                                                       ? install::defaultInstallFolder()
                                                       : install::checkedInstallFolder(decodeUtf8(options.folder)),
                                         .withLogger = options.withLogger,
                                         .allowUnsigned = options.allowUnsigned};
    changeMachine([&wish](const auto& registry,
                          const auto& journal) { return install::planInstallation(wish, registry, journal); },
                  options.machine, output);
}

/// What the machine has of the effect, and the autostart entry of the user who asks.
install::MachinePlan planToUninstall(const install::RegistryTree& registry, const install::ChangeJournal& journal) {
    install::MachinePlan plan = install::planRemoval(registry, journal);
    const auto autostart = keep::readAutostart();
    if (autostart.state == keep::AutostartState::on || autostart.state == keep::AutostartState::otherCopy) {
        plan.sentences.push_back("Removes the autostart entry " + encodeUtf8(autostart.entry) + ".");
        plan.afterwards = [] { keep::removeAutostart(); };
    }
    if (keep::KeeperInstance::runs()) {
        plan.notes.emplace_back("The settings are kept until this session ends; keep --stop ends that at once.");
    }
    return plan;
}

} // namespace

void addInstallCommands(CLI::App& app, const Output& output) {
    auto* const installing = app.add_subcommand("install", "Put the effect on this machine and register it");
    const auto options = std::make_shared<InstallOptions>();
    installing->add_option("--to", options->folder, "Folder of the library; default is Tovix among the programs");
    installing->add_flag("--with-logger", options->withLogger, "The development logger too");
    installing->add_flag("--allow-unsigned", options->allowUnsigned,
                         "Switch off the audio engine's protection, which keeps unsigned libraries out");
    addMachineOptions(*installing, options->machine);
    installing->callback([options, &output] { install(*options, output); });

    auto* const uninstalling =
        app.add_subcommand("uninstall", "Take the effect off all devices and off this machine");
    const auto machine = std::make_shared<MachineOptions>();
    addMachineOptions(*uninstalling, *machine);
    uninstalling->callback([machine, &output] { changeMachine(planToUninstall, *machine, output); });
}

} // namespace tovix::control
