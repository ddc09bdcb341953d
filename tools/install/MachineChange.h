#pragma once

#include "install/RegistryTree.h"

#include <nlohmann/json_fwd.hpp>

#include <filesystem>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace tovix::install {

/// A registry value from what it is to what it shall be; either may be "not there".
struct ValueChange {
    std::wstring key;
    std::wstring name;
    std::optional<RegistryData> before;
    std::optional<RegistryData> after;

    friend bool operator==(const ValueChange&, const ValueChange&) = default;
};

/// A key that comes, or goes if it is empty by then.
struct KeyChange {
    std::wstring key;
    bool comes = true;

    friend bool operator==(const KeyChange&, const KeyChange&) = default;
};

/// A folder that comes, or goes if it is empty by then.
struct FolderChange {
    std::filesystem::path folder;
    bool comes = true;

    friend bool operator==(const FolderChange&, const FolderChange&) = default;
};

/// A file that comes (`before` empty), goes (`after` empty) or is replaced. Both are the contents' SHA-256 sums in
/// hexadecimal. What is replaced is lost when the command has finished, so that a record's files have no `before`.
struct FileChange {
    std::filesystem::path file;
    std::string before;
    std::string after;
    /// What is copied there; empty for a file that goes.
    std::filesystem::path source;

    friend bool operator==(const FileChange&, const FileChange&) = default;
};

/// One step of what a command does to the machine.
using MachineChange = std::variant<KeyChange, ValueChange, FolderChange, FileChange>;

/// The changes that a later command can take back, in the order in which they were made.
using ChangeRecord = std::vector<MachineChange>;

/// All are [control].

/// One line for the user, such as `set HKLM\...\FxProperties "{...},7": "{old}" -> "{new}"`; in UTF-8.
std::string describe(const MachineChange& change);

/// As data that `changeFrom` reads back, which throws nlohmann::json::exception for what it does not understand.
nlohmann::ordered_json toData(const MachineChange& change);
MachineChange changeFrom(const nlohmann::json& data);

/// What takes a record back on the machine as it is.
struct TakingBack {
    /// In the order in which they are to be made.
    std::vector<MachineChange> changes;
    /// What is neither as the record left it nor as it was before, because somebody has changed it since. Left alone.
    std::vector<MachineChange> leftAlone;
};
TakingBack takingBack(const ChangeRecord& record, const RegistryTree& registry);

} // namespace tovix::install
