#include "log/LogLine.h"

#include "text/Utf.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>

namespace tovix {
namespace {

constexpr std::size_t numberCapacity = 16;
constexpr std::size_t objectTagCapacity = 32;
constexpr std::size_t locationTagCapacity = 100;

const char* levelName(LogLevel level) noexcept {
    static constexpr std::array<const char*, 6> names{"NONE", "FATAL", "ERROR", "WARNING", "INFO", "DEBUG"};
    const auto index = static_cast<std::size_t>(level);
    return index < names.size() ? names[index] : "";
}

std::string_view baseName(std::string_view path) noexcept {
    const auto slash = path.rfind('/');
    const auto cut = slash != std::string_view::npos ? slash : path.rfind('\\');
    return cut != std::string_view::npos ? path.substr(cut + 1) : path;
}

/// A whole number through the scratch buffer that every number passes, which cuts it at its capacity.
template <class Number>
std::string_view formatted(std::array<char, numberCapacity>& scratch, Number value, bool hex) {
    constexpr std::size_t longest = 24;
    std::array<char, longest> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + longest, value, hex ? 16 : 10).ptr;
    if (hex) {
        std::transform(digits.data(), end, digits.data(),
                       [](char c) { return c >= 'a' ? static_cast<char>(c - 'a' + 'A') : c; });
    }
    const auto length = std::min(static_cast<std::size_t>(end - digits.data()), numberCapacity - 1);
    std::memcpy(scratch.data(), digits.data(), length);
    return {scratch.data(), length};
}

} // namespace

LogLine::LogLine(const LogHead& head) noexcept {
    std::array<char, locationTagCapacity> tag{};
    std::snprintf(tag.data(), tag.size(), "%s [%d] ", levelName(head.level),
                  static_cast<std::int32_t>(head.threadId));
    append(tag.data());
    // Spelled out because the C libraries differ in how they print a pointer.
    std::snprintf(tag.data(), objectTagCapacity, "[this=0x%016llX] ",
                  static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(head.pObject)));
    append(tag.data());
    const auto source = baseName(head.source);
    std::snprintf(tag.data(), tag.size(), "[%s@%.*s:%u] ", head.function, static_cast<int>(source.size()),
                  source.data(), head.line);
    append(tag.data());
}

LogLine& LogLine::text(std::string_view text) noexcept {
    append(text);
    return *this;
}

LogLine& LogLine::text(std::wstring_view text) noexcept {
    std::array<char, utf8MaxBytes> encoded{};
    while (!text.empty()) {
        append({encoded.data(), encodeUtf8Character(text, encoded.data())});
    }
    return *this;
}

LogLine& LogLine::number(std::uint32_t value) noexcept {
    return number(std::uint64_t{value});
}

LogLine& LogLine::number(std::uint64_t value) noexcept {
    std::array<char, numberCapacity> scratch{};
    append(formatted(scratch, value, m_hex));
    m_hex = false;
    return *this;
}

LogLine& LogLine::result(std::int32_t value) noexcept {
    std::array<char, numberCapacity> scratch{};
    append(m_hex ? formatted(scratch, static_cast<std::uint32_t>(value), true) : formatted(scratch, value, false));
    m_hex = false;
    return *this;
}

LogLine& LogLine::real(double value) noexcept {
    // to_chars because the process's locale must not decide about the decimal point.
    constexpr int decimals = 6;
    constexpr std::size_t longest = 330;
    std::array<char, longest> digits{};
    const auto end =
        std::to_chars(digits.data(), digits.data() + longest, value, std::chars_format::fixed, decimals).ptr;
    append({digits.data(), std::min(static_cast<std::size_t>(end - digits.data()), numberCapacity - 1)});
    m_hex = false;
    return *this;
}

LogLine& LogLine::hexNext() noexcept {
    m_hex = true;
    return *this;
}

void LogLine::append(std::string_view text) noexcept {
    const auto length = std::min(text.size(), capacity - 1 - m_length);
    std::memcpy(m_text.data() + m_length, text.data(), length);
    m_length += length;
    m_text[m_length] = '\0';
}

} // namespace tovix
