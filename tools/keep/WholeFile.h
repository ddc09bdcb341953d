#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace tovix::keep {

/// Small files that are read and written as a whole. [control], any thread; throws a KeepRefusal (fileRefused) that
/// names the file and gives the system's words.

/// All bytes, up to `mostBytes` + 1 of them, so that a file that is too large shows; none where there is no such
/// file.
std::optional<std::string> readWholeFile(const std::filesystem::path& path, std::size_t mostBytes);

/// Writes the file beside its place, under its name with ".part" behind it, has the system put it on the disk and
/// gives it its name, so that whatever happens there is the old file or the new one. What an interrupted write has
/// left behind is written over by the next. Makes the folder where it is missing, and waits up to a second for
/// whoever has the old file open.
void replaceWholeFile(const std::filesystem::path& path, std::string_view bytes);

/// The path in UTF-8.
std::string textOfPath(const std::filesystem::path& path);

} // namespace tovix::keep
