#pragma once

#include "log/LogLine.h"

#include <cstdint>
#include <string_view>

namespace tovix {

/// Where finished lines go and what stamps them. The Windows shell installs the logger library's; until then
/// lines are dropped. Both functions may be called from any control thread at once.
struct LogBackend {
    /// Takes one finished, NUL-terminated line.
    void (*write)(const char* line) noexcept;
    /// Identifier of the calling thread as it shall stand in the line head.
    std::uint32_t (*threadId)() noexcept;
};

/// [control] Replaces the backend for the whole process. Not while another thread logs: install it before the
/// first level is set.
void installLogBackend(const LogBackend& backend) noexcept;
LogBackend logBackend() noexcept;

/// The current level; lines above it are not built. LogLevel::None at start.
LogLevel logLevel() noexcept;
void setLogLevel(LogLevel level) noexcept;

/// Whether a line at `level` shall be built at all: test it first, build the line after.
inline bool logEnabled(LogLevel level) noexcept {
    return logLevel() >= level;
}

/// [control] Writes a line of one text where its level is enabled.
inline void logText(LogLevel level, const LogLocation& location, const void* pObject,
                    std::string_view text) noexcept {
    if (logEnabled(level)) {
        LogLine(level, location, pObject).text(text).write();
    }
}

} // namespace tovix
