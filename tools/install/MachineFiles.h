#pragma once

#include <filesystem>
#include <string>

namespace tovix::install {

/// The steps of changes to files and folders, each of which has happened or has not. All are [control]; they throw
/// InstallRefusal with the file's name and the system's reason (fileInUse, diskFull, fileRefused).

/// The SHA-256 sum of a file in hexadecimal; empty where there is no such file.
std::string contentOf(const std::filesystem::path& file);

/// Throws fileInUse where another process holds the file, as the audio engine holds a library that it has loaded.
void requireUnused(const std::filesystem::path& file);

/// Copies to a new file and has it on the disk when it returns. One that is there is overwritten.
void copyFile(const std::filesystem::path& source, const std::filesystem::path& target);

/// Renames within a folder, over whatever has the new name.
void renameFile(const std::filesystem::path& file, const std::filesystem::path& newName);

/// Removes a file; one that is not there is no failure. One that is held open goes when the system next starts.
void removeFile(const std::filesystem::path& file);

/// A folder whose parent is there; one that is there is no failure.
void createFolder(const std::filesystem::path& folder);

/// Removes a folder if it is empty; one that somebody has open, when the system next starts.
void removeFolder(const std::filesystem::path& folder);

} // namespace tovix::install
