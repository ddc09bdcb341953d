#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace tovix {

enum class LogLevel : std::int32_t { None = 0, Fatal = 1, Error = 2, Warning = 3, Info = 4, Debug = 5 };

/// What a line begins with.
struct LogHead {
    LogLevel level;
    /// The calling thread, as the log's backend names it; printed as a signed number.
    std::uint32_t threadId;
    /// The object that logs, or null; the tag is written all the same.
    const void* pObject;
    /// Class::Method.
    const char* function;
    /// Source file without its ending; a path in front of the name is cut off.
    const char* source;
    /// Line of the statement that logs.
    std::uint32_t line;
};

/// One line under construction, in a fixed buffer on the caller's stack. What does not fit is cut off silently.
///
/// Layout: "LEVEL [thread] [this=0xADDRESS] [Class::Method@Source:line] message". Numbers are decimal unless
/// `hexNext` was called just before; texts follow each other with no separator. All [control], any thread.
class LogLine {
public:
    /// Buffer size in bytes, terminator included.
    static constexpr std::size_t capacity = 256;

    /// Formats the head.
    explicit LogLine(const LogHead& head) noexcept;

    LogLine& text(std::string_view text) noexcept;
    /// Appends `text` as UTF-8.
    LogLine& text(std::wstring_view text) noexcept;
    LogLine& number(std::uint32_t value) noexcept;
    LogLine& number(std::uint64_t value) noexcept;
    /// A result code, as a signed number.
    LogLine& result(std::int32_t value) noexcept;
    /// A floating-point number with six decimals.
    LogLine& real(double value) noexcept;
    /// The next whole number is printed in upper-case hexadecimal; any number turns this off again. Part of the log
    /// facility's contract; the product does not use it.
    LogLine& hexNext() noexcept;

    /// The line so far, NUL-terminated.
    [[nodiscard]] const char* c_str() const noexcept { return m_text.data(); }

private:
    void append(std::string_view text) noexcept;

    std::array<char, capacity> m_text{};
    std::size_t m_length = 0;
    bool m_hex = false;
};

} // namespace tovix
