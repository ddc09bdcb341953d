#pragma once

#include "log/LogLine.h"

#include <concepts>
#include <cstdint>
#include <string_view>

namespace tovix {

/// Where finished lines go and what stamps them. The Windows shell installs the logger library's; until then
/// lines are dropped. Both functions may be called from any control thread at once.
struct LogBackend {
    /// Takes one finished, NUL-terminated line.
    void (*write)(const char* line) noexcept;
    /// Identifier of the calling thread as printed in the line head.
    std::uint32_t (*threadId)() noexcept;
};

/// [control] Replaces the backend for the whole process. Not while another thread logs: install it before the
/// first level is set.
void installLogBackend(const LogBackend& backend) noexcept;
/// [control] The backend in force.
LogBackend logBackend() noexcept;

/// [control] The current level; lines above it are not built. LogLevel::None at start.
LogLevel logLevel() noexcept;
/// [control] Sets the level for the whole process.
void setLogLevel(LogLevel level) noexcept;

/// [control] Whether a line at `level` is to be built at all. Test it before anything that only the line needs.
inline bool logEnabled(LogLevel level) noexcept {
    return logLevel() >= level;
}

/// [control] The first text of a message. It records the line number of the statement that logs.
struct LogText {
    // Implicit, so that the text alone can be given.
    template <std::convertible_to<std::string_view> Text>
    LogText(const Text& message, std::uint32_t statementLine = __builtin_LINE()) noexcept
        : text(message), line(statementLine) {}

    std::string_view text;
    std::uint32_t line;
};

/// What a message may be made of; overload `appendTo` for a record of your own. [control]
inline void appendTo(LogLine& line, std::string_view text) noexcept {
    line.text(text);
}
inline void appendTo(LogLine& line, std::wstring_view text) noexcept {
    line.text(text);
}
template <std::unsigned_integral Number> void appendTo(LogLine& line, Number number) noexcept {
    line.number(std::uint64_t{number});
}
/// A result code.
template <std::signed_integral Number>
requires(sizeof(Number) == sizeof(std::int32_t)) void appendTo(LogLine& line, Number result) noexcept {
    line.result(static_cast<std::int32_t>(result));
}
template <std::floating_point Number> void appendTo(LogLine& line, Number number) noexcept {
    line.real(static_cast<double>(number));
}

/// The log lines of one function; the one way to log:
///
///     const FunctionLog log("Class::method", "SourceFile", this);
///     log.error("CreateEvent FAILED. GetLastError()=", error);
///
/// A line is built where its level is enabled and dropped where not. All [control], any thread.
class FunctionLog {
public:
    /// `function` is Class::Method, `source` the file's tag in the log (see LogHead); both outlive this object.
    FunctionLog(const char* function, const char* source, const void* pObject) noexcept
        : m_function(function), m_source(source), m_pObject(pObject) {}

    template <class... Parts> void write(LogLevel level, const LogText& text, const Parts&... parts) const noexcept {
        if (logEnabled(level)) {
            LogLine line = begin(level, text);
            (appendTo(line, parts), ...);
            logBackend().write(line.c_str());
        }
    }
    template <class... Parts> void error(const LogText& text, const Parts&... parts) const noexcept {
        write(LogLevel::Error, text, parts...);
    }
    template <class... Parts> void warning(const LogText& text, const Parts&... parts) const noexcept {
        write(LogLevel::Warning, text, parts...);
    }
    template <class... Parts> void info(const LogText& text, const Parts&... parts) const noexcept {
        write(LogLevel::Info, text, parts...);
    }

private:
    [[nodiscard]] LogLine begin(LogLevel level, const LogText& text) const noexcept;

    const char* m_function;
    const char* m_source;
    const void* m_pObject;
};

} // namespace tovix
