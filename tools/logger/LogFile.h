#pragma once

#include "system/WinHandles.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tovix::logger {

/// Size from which a log file is moved aside, to the same name with ".1" after it, in place of the one before it.
constexpr std::int64_t rotationBytes = std::int64_t{1024} * 1024;

/// A text file that several processes append to. It is opened anew for each piece, so that it may be moved, deleted
/// or come back at any time. [control], one thread at a time; every failure is silent.
class LogFile {
public:
    /// The first of `paths` that can be opened is written to, decided anew for each piece.
    explicit LogFile(std::vector<std::wstring> paths) : m_paths(std::move(paths)) {}

    /// Appends `text`, which other processes' pieces will not divide; false when no file takes it.
    // NOLINTNEXTLINE(modernize-use-nodiscard): there is no other place for it
    bool append(std::string_view text) const noexcept;

private:
    std::vector<std::wstring> m_paths;
};

/// [control] Where lines go: the file named by the environment variable TOVIX_LOG_FILE; else, or when that cannot be
/// written, "Tovix\Tovix.log" in the machine's folder for program data, which services may write to; else "Tovix.log"
/// in the account's folder for temporary files.
std::vector<std::wstring> logFilePaths();

/// [control] The environment variable's value; empty without one.
std::wstring environmentText(const wchar_t* name);

} // namespace tovix::logger
