#include "control/Commands.h"

#include "control/RegistryValues.h"
#include "control/StatusReport.h"
#include "host/ControllersTurn.h"
#include "host/SettingsBlock.h"
#include "settings/Refusal.h"
#include "system/RegistrySettings.h"
#include "text/Utf.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>
#include <sstream>

namespace tovix::control {
namespace {

constexpr DWORD watchPeriodMs = 200;

Status statusOf(const std::optional<SettingsBlock>& block) {
    Status status{.logLevel = ReadLogLevelSetting(), .oldApo = ReadOldApoSetting()};
    if (block) {
        status.block = block->bytes();
        status.holders = block->holders();
    }
    return status;
}

void show(const Status& status, const Output& output) {
    if (output.json) {
        std::cout << statusData(status).dump() << std::endl;
    } else {
        std::cout << describeStatus(status) << std::flush;
    }
}

[[noreturn]] void stay() {
    while (true) {
        ::Sleep(INFINITE);
    }
}

SettingsBlock apply(const std::function<Change(std::string_view)>& change, const Output& output) {
    const ControllersTurn turn;
    SettingsBlock block = SettingsBlock::openOrCreate();
    const Change changed = change(block.bytes());
    // Before the write, so that a report that cannot be made leaves no change behind.
    const std::string report = output.json ? changeData(changed).dump() + "\n" : describeChange(changed);
    block.write(changed.text);
    std::cout << report << std::flush;
    if (!output.json) {
        for (const auto& note : changed.notes) {
            std::cerr << "Note: " << printable(note) << "\n";
        }
    }
    return block;
}

/// The end of a command that has changed the block.
void leave(const SettingsBlock& block, const Output& output) {
    if (output.hold) {
        stay();
    }
    if (block.holders() == 0) {
        std::cerr << "Note: No effect has the settings open, so they are lost when this program ends; use --hold, or "
                     "play something first.\n";
    }
}

} // namespace

void showStatus(const Output& output) {
    show(statusOf(SettingsBlock::open()), output);
}

void changeSettings(const std::function<Change(std::string_view)>& change, const Output& output) {
    leave(apply(change, output), output);
}

void setOldApo(bool on, const Output& output) {
    const auto writeValue = [on](const char* consequence) {
        writeRegistryValue(L"EnableOldApo", on ? 1 : 0, consequence);
    };
    std::optional<SettingsBlock> block;
    try {
        block = apply([on](std::string_view bytes) { return changeOldApo(bytes, on); }, output);
    } catch (const Refusal& refusal) {
        writeValue("nor can the settings be changed");
        throw Refusal(std::string(refusal.what()) + " The registry value is written: later effects begin with it.",
                      refusal.status());
    }
    writeValue("the settings line is written, which running effects follow");
    leave(*block, output);
}

void setLogLevel(std::uint32_t level, const Output& output) {
    writeRegistryValue(L"MLS", level, "the log level stays as it is");
    if (output.json) {
        std::cout << nlohmann::json{{"logLevel", level}}.dump() << "\n";
    } else {
        std::cout << "Log level " << level << "; an effect takes it when it next attaches its logger.\n";
    }
}

void watchSettings(const Output& output) {
    std::optional<SettingsBlock> block;
    std::optional<std::string> shown;
    for (bool first = true;; first = false) {
        if (!block) {
            block = SettingsBlock::open();
        }
        const Status status = statusOf(block);
        auto text = status.block;
        if (text) {
            text->resize(std::min(text->find('\0'), text->size()));
        }
        if (first || text != shown) {
            shown = std::move(text);
            show(status, output);
        }
        ::Sleep(watchPeriodMs);
    }
}

std::string readCurveFile(const std::string& name) {
    constexpr std::uintmax_t largestFile = 1024 * 1024;
    const std::filesystem::path path(decodeUtf8(name));
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    if (!error && size > largestFile) {
        throw Refusal("The curve file \"" + name + "\" is larger than 1 MB.", ExitStatus::noFile);
    }
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    if (error || !file || !(text << file.rdbuf())) {
        throw Refusal("The curve file \"" + name + "\" cannot be read, or is empty.", ExitStatus::noFile);
    }
    return text.str();
}

} // namespace tovix::control
