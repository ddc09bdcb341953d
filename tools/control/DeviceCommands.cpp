#include "control/DeviceCommands.h"

#include "control/DeviceReport.h"
#include "control/MachineCommand.h"
#include "install/Attachment.h"
#include "install/EffectRegistration.h"
#include "install/InstallFolder.h"
#include "install/InstallRefusal.h"
#include "settings/SettingsReport.h"
#include "text/Utf.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <iostream>
#include <memory>

namespace tovix::control {
namespace {

using install::ChangeJournal;
using install::InstallRefusal;
using install::MachinePlan;
using install::Obstacle;
using install::OutputDevice;
using install::RegistryTree;

/// The devices that a command is for, and how it works.
struct DeviceWish {
    std::string device;
    bool isDefault = false;
    bool all = false;
    MachineOptions options;
};

void addWish(CLI::App& command, DeviceWish& wish) {
    auto* const devices = command.add_option_group("devices");
    devices->add_option("DEVICE", wish.device, "Its name, a part that no other has, or its identifier");
    devices->add_flag("--default", wish.isDefault, "The system's default output device");
    devices->add_flag("--all", wish.all, "All of them; to attach, those that are active");
    devices->require_option(1);
    addMachineOptions(command, wish.options);
}

std::wstring defaultDevice() {
    auto id = install::defaultOutputDevice();
    if (id.empty()) {
        throw InstallRefusal(Obstacle::noDevice, "There is no default output device.");
    }
    return id;
}

std::vector<OutputDevice> devicesToAttach(const DeviceWish& wish, const RegistryTree& registry) {
    auto devices = install::readOutputDevices(registry, {});
    if (wish.all) {
        std::erase_if(devices, [](const OutputDevice& device) { return !device.isActive(); });
        if (devices.empty()) {
            throw InstallRefusal(Obstacle::noDevice, "There is no active output device.");
        }
        return devices;
    }
    return {install::chooseDevice(devices, wish.isDefault ? defaultDevice() : decodeUtf8(wish.device))};
}

MachinePlan planToAttach(const DeviceWish& wish, const RegistryTree& registry, const ChangeJournal& journal) {
    install::requireInstalled(registry);
    MachinePlan plan;
    for (const OutputDevice& device : devicesToAttach(wish, registry)) {
        plan.append(install::planAttachment(device, registry, journal));
    }
    return plan;
}

/// The devices that have a record, there or not.
std::vector<std::wstring> recordedDevices(const ChangeJournal& journal) {
    auto names = journal.names();
    names.erase(std::remove(names.begin(), names.end(), install::installationRecord), names.end());
    return names;
}

std::vector<std::wstring> devicesToDetach(const DeviceWish& wish, const RegistryTree& registry,
                                          const ChangeJournal& journal) {
    const auto devices = install::readOutputDevices(registry, {});
    std::vector<std::wstring> ids = recordedDevices(journal);
    if (wish.all) {
        for (const OutputDevice& device : devices) {
            if (std::find(ids.begin(), ids.end(), device.id) == ids.end()) {
                ids.push_back(device.id);
            }
        }
        return ids;
    }
    const std::wstring text = wish.isDefault ? defaultDevice() : decodeUtf8(wish.device);
    const auto isMeant = [&](const std::wstring& id) { return install::isSameText(id, text); };
    if (const auto found = std::find_if(ids.begin(), ids.end(), isMeant); found != ids.end()) {
        return {*found}; // it need not be there any more
    }
    return {install::chooseDevice(devices, text).id};
}

MachinePlan planToDetach(const DeviceWish& wish, const RegistryTree& registry, const ChangeJournal& journal) {
    MachinePlan plan;
    for (const auto& id : devicesToDetach(wish, registry, journal)) {
        plan.append(install::planDetachment(id, registry, journal));
    }
    return plan;
}

MachinePlan planToRepair(const RegistryTree& registry, const ChangeJournal& journal) {
    MachinePlan plan;
    if (!journal.names().empty()) {
        plan.append(install::planInstallationRepair(install::packageFolder(), registry, journal));
    }
    for (const auto& id : recordedDevices(journal)) {
        plan.append(install::planRepair(id, registry, journal));
    }
    return plan;
}

void showDevices(const Output& output) {
    refuseHold(output);
    auto registry = RegistryTree::machine();
    const ChangeJournal journal(registry);
    const auto devices = install::readOutputDevices(registry, install::defaultOutputDevice());
    const DeviceReport report(registry, journal);
    if (output.json) {
        std::cout << report.data(devices).dump() << std::endl;
        return;
    }
    const auto text = report.describe(devices);
    for (std::size_t begin = 0; begin < text.size();) {
        const auto end = text.find('\n', begin);
        std::cout << printable(text.substr(begin, end - begin)) << "\n";
        begin = end + 1;
    }
    std::cout << std::flush;
    if (journal.isInterrupted()) {
        std::cerr << "Note: An earlier command was interrupted; the next one that changes something puts that right "
                     "first.\n";
    }
}

} // namespace

void addDeviceCommands(CLI::App& app, const Output& output) {
    app.add_subcommand("devices", "Show the output devices, their effects, and where Tovix is attached")
        ->callback([&output] { showDevices(output); });
    const auto add = [&](const char* name, const char* description, auto plan) {
        auto* const command = app.add_subcommand(name, description);
        const auto wish = std::make_shared<DeviceWish>();
        addWish(*command, *wish);
        command->callback([&output, wish, plan] {
            changeMachine([&](const auto& registry, const auto& journal) { return plan(*wish, registry, journal); },
                          wish->options, output);
        });
    };
    add("attach", "Put Tovix behind the sound of an output device", planToAttach);
    add("detach", "Take Tovix off an output device, which gets back what it had", planToDetach);
    auto* const repair =
        app.add_subcommand("repair", "Put right what an update of a driver or the system has undone");
    const auto options = std::make_shared<MachineOptions>();
    addMachineOptions(*repair, *options);
    repair->callback([&output, options] { changeMachine(planToRepair, *options, output); });
}

} // namespace tovix::control
