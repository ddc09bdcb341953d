#pragma once

#include "install/ChangeJournal.h"

#include <filesystem>
#include <string>
#include <vector>

namespace tovix::install {

/// What a user asks of an installation.
struct InstallationWish {
    /// Where the package's files are.
    std::filesystem::path package;
    /// Where the library goes: "Tovix" in the folder for programs, unless the user names another.
    std::filesystem::path folder;
    bool withLogger = false;
    /// Switch off the audio engine's protection, which lets it load a library that is not signed for it.
    bool allowUnsigned = false;
};

struct InstallationPlan {
    Transaction transaction;
    std::vector<std::string> notes;
};

/// All are [control], read the machine and change nothing; they throw InstallRefusal.

/// Copies the library (and the logger), registers the class with COM and with the audio engine, both as the library's
/// own registration does, and sets what `wish` asks for. Over an earlier installation it replaces the files; the
/// record keeps what was there before the first one. Nothing to do where all is as wished.
InstallationPlan planInstallation(const InstallationWish& wish, const RegistryTree& registry,
                                  const ChangeJournal& journal);

/// Everything that any record has, devices first, and the product's own values.
InstallationPlan planRemoval(const RegistryTree& registry, const ChangeJournal& journal);

/// Where the installed library is; empty where it is not installed.
std::filesystem::path installedLibrary(const ChangeJournal& journal);

} // namespace tovix::install
