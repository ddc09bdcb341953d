#include "control/Commands.h"

#include "control/ExitStatus.h"
#include "control/StatusReport.h"
#include "host/ControllersTurn.h"
#include "host/SettingsPage.h"
#include "host/SystemQueries.h"
#include "keep/Autostart.h"
#include "keep/KeeperInstance.h"
#include "keep/SettingsFile.h"
#include "keep/UserFolder.h"
#include "keep/WholeFile.h"
#include "settings/SettingsReport.h"
#include "settings/SettingsRules.h"
#include "system/RegistrySettings.h"
#include "text/SettingsNames.h"
#include "text/Utf.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>
#include <sstream>

namespace tovix::control {
namespace {

constexpr DWORD watchPeriodMs = 200;

Status statusOf(const std::optional<SettingsPage>& page) {
    Status status{.logLevel = ReadLogLevelSetting(), .previousEffect = ReadPreviousEffectSetting()};
    if (page) {
        status.text = page->text();
        status.holders = page->holders();
    }
    return status;
}

/// What keeps the settings. The rest of a status is worth having where that cannot be read.
void addKeeping(Status& status) {
    status.kept = keep::KeeperInstance::runs();
    try {
        const auto autostart = keep::readAutostart();
        status.autostart = autostart.state;
        status.autostartEntry = encodeUtf8(autostart.entry);
        for (const auto& file : keep::refusedFiles(keep::lastSettingsFile())) {
            status.refusedFiles.push_back(keep::textOfPath(file));
        }
    } catch (const keep::KeepRefusal& refusal) {
        std::cerr << "Note: " << printable(refusal.what()) << "\n";
    }
}

void show(Status status, const Output& output) {
    addKeeping(status);
    if (output.json) {
        std::cout << statusData(status).dump() << std::endl;
    } else {
        std::cout << describeStatus(status) << std::flush;
    }
}

SettingsPage apply(const std::function<ChangedSettings(std::string_view)>& change, const Output& output) {
    const ControllersTurn turn;
    SettingsPage page = SettingsPage::openOrCreate();
    const ChangedSettings changed = change(page.text());
    // Before the write, so that a report that cannot be made leaves no change behind.
    const std::string report = output.json ? changeData(changed).dump() + "\n" : describeChange(changed);
    page.write(changed.text);
    page.announce();
    std::cout << report << std::flush;
    if (!output.json) {
        for (const auto& note : changed.notes) {
            std::cerr << "Note: " << printable(note) << "\n";
        }
    }
    return page;
}

/// Where nothing has been kept yet, writes the settings down as `keep` does, so that a keep that is started next
/// finds them.
bool writeFirstSettings(const SettingsPage& page) {
    try {
        const auto file = keep::lastSettingsFile();
        if (std::filesystem::exists(file)) {
            return false;
        }
        keep::writeSettingsFile(file, page.text());
        return true;
    } catch (const std::exception&) { // a user without such a folder
        return false;
    }
}

/// The end of a command that has changed the settings: keeps the page open if that was asked for, or warns that the
/// settings are lost.
void holdOrWarn(const SettingsPage& page, const Output& output) {
    while (output.hold) {
        ::Sleep(INFINITE);
    }
    if (page.holders() == 0) {
        std::cerr << "Note: No effect has the settings open, so they are lost when this program ends; "
                  << (writeFirstSettings(page) ? "they are written down, and keep or autostart on brings them back.\n"
                                               : "use --hold or keep, or play something first.\n");
    }
}

/// Writes a REG_DWORD of the effect's key in the 64-bit view of the registry, creating the key when it is missing.
/// The refusal ends in `consequence`.
void writeSettingsValue(const wchar_t* name, std::uint32_t value, const char* consequence) {
    HKEY hKey = nullptr;
    LSTATUS error = ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, settingsRegistryKey, 0, nullptr, 0,
                                      KEY_SET_VALUE | KEY_WOW64_64KEY, nullptr, &hKey, nullptr);
    const RegistryKey key(error == ERROR_SUCCESS ? hKey : nullptr);
    if (key) {
        error = ::RegSetValueExW(key.get(), name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), sizeof value);
    }
    if (error != ERROR_SUCCESS) {
        throw CommandFailure(ExitStatus::noRegistry, "The registry value \"" + encodeUtf8(name) +
                                                         "\" cannot be written, which takes an administrator: " +
                                                         describeSystemError(static_cast<DWORD>(error)) + "; " +
                                                         consequence + ".");
    }
}

} // namespace

void showStatus(const Output& output) {
    show(statusOf(SettingsPage::open()), output);
}

void changeSettings(const std::function<ChangedSettings(std::string_view)>& change, const Output& output) {
    const auto checked = [&change](std::string_view text) {
        ChangedSettings changed = change(text);
        checkCost(changed.text, text);
        return changed;
    };
    holdOrWarn(apply(checked, output), output);
}

void setPreviousEffect(bool on, const Output& output) {
    const auto writeValue = [on](const char* consequence) {
        writeSettingsValue(settings::enableOldApo.wide().data(), on ? 1 : 0, consequence);
    };
    std::optional<SettingsPage> page;
    try {
        page = apply([on](std::string_view text) { return changePreviousEffect(text, on); }, output);
    } catch (const Refusal&) {
        writeValue("nor can the settings be changed");
        std::cerr << "Note: The registry value is written: later effects begin with it.\n";
        throw;
    }
    writeValue("the settings line is written, which running effects follow");
    holdOrWarn(*page, output);
}

void setLogLevel(std::uint32_t level, const Output& output) {
    writeSettingsValue(logLevelValueName, level, "the log level stays as it is");
    if (output.json) {
        std::cout << nlohmann::json{{"logLevel", level}}.dump() << "\n";
    } else {
        std::cout << "Log level " << level << "; an effect takes it when it next attaches its logger.\n";
    }
}

void watchSettings(const Output& output) {
    std::optional<SettingsPage> page;
    std::optional<std::string> shown;
    for (bool first = true;; first = false) {
        if (!page) {
            page = SettingsPage::open();
        }
        const Status status = statusOf(page);
        if (first || status.text != shown) {
            shown = status.text;
            show(status, output);
        }
        ::Sleep(watchPeriodMs);
    }
}

std::string readCurveFile(const std::string& name) {
    constexpr std::uintmax_t largestFile = std::uintmax_t{1024} * 1024;
    const std::filesystem::path path(decodeUtf8(name));
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    if (!error && size > largestFile) {
        throw CommandFailure(ExitStatus::noFile, "The curve file \"" + name + "\" is larger than 1 MB.");
    }
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    if (error || !file || !(text << file.rdbuf())) {
        throw CommandFailure(ExitStatus::noFile, "The curve file \"" + name + "\" cannot be read, or is empty.");
    }
    return text.str();
}

} // namespace tovix::control
