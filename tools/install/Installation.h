#pragma once

#include "install/MachinePlan.h"

#include <filesystem>

namespace tovix::install {

inline constexpr const wchar_t* libraryName = L"Tovix64.dll";
inline constexpr const wchar_t* loggerName = L"Logger64.dll";

/// Where the audio engine's protection is switched off for development (a REG_DWORD, 1), below the machine's key.
inline constexpr const wchar_t* protectionKey = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Audio";
inline constexpr const wchar_t* protectionValue = L"DisableProtectedAudioDG";

/// [control] Where a package has the file of an installation that has this name.
std::filesystem::path packagedFile(const std::filesystem::path& package, const std::filesystem::path& name);

/// What a user asks of an installation.
struct InstallationWish {
    /// Where the package's files are: the library, and the logger in a folder "logger".
    std::filesystem::path package;
    /// Where the library goes, as a full path.
    std::filesystem::path folder;
    /// The development logger goes beside the library, where the effect looks for it.
    bool withLogger = false;
    /// Switch off the audio engine's protection, which lets it load a library that is not signed for it.
    bool allowUnsigned = false;
};

/// [control], read the machine and change nothing; they throw InstallRefusal.

/// Copies the files and registers the class with COM and with the audio engine, both as the library's own
/// registration does. Nothing to do where all is as wished.
///
/// A registration of the class and files of these names that are there already, by hand or by an earlier
/// installation, are taken over: they count as this installation's and go with it. Of the protection value what was
/// there before the first installation is remembered; one that is 1 already stays out of the record. What an earlier
/// installation has that is not asked for stays, but for files in another folder, which go.
MachinePlan planInstallation(const InstallationWish& wish, const RegistryTree& registry,
                             const ChangeJournal& journal);

/// Where the installed library is; empty where it is not installed.
std::filesystem::path installedLibrary(const ChangeJournal& journal);

} // namespace tovix::install
