#include "log/LogLine.h"

#include "text/Utf.h"

#include <algorithm>
#include <charconv>
#include <cmath>
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

/// Room for the longest number with six decimals, its sign and a terminator.
constexpr std::size_t fixedCapacity = 330;

/// Writes the digits of mantissa * 2^exponent, exponent >= 0, so that they end before `pEnd`; returns the first.
char* writeWhole(std::uint64_t mantissa, int exponent, char* pEnd) noexcept {
    constexpr unsigned wordBits = 32;
    std::array<std::uint32_t, 36> words{}; // the largest double has 1024 bits
    const auto first = static_cast<std::size_t>(exponent) / wordBits;
    const unsigned shift = static_cast<unsigned>(exponent) % wordBits;
    words[first] = static_cast<std::uint32_t>(mantissa << shift);
    words[first + 1] = static_cast<std::uint32_t>(mantissa >> (wordBits - shift));
    words[first + 2] = static_cast<std::uint32_t>(mantissa >> wordBits >> (wordBits - shift));
    do {
        std::uint64_t rest = 0;
        for (auto word = words.rbegin(); word != words.rend(); ++word) {
            rest = rest << wordBits | *word;
            *word = static_cast<std::uint32_t>(rest / 10);
            rest %= 10;
        }
        *--pEnd = static_cast<char>('0' + rest);
    } while (std::any_of(words.begin(), words.end(), [](std::uint32_t word) { return word != 0; }));
    return pEnd;
}

/// `value` with six decimals, rounded as the C library rounds. Without the library's own functions for it: some ask
/// for memory or for the locale, and the tables of the others would be a fifteenth of the module.
std::string_view fixed(std::array<char, fixedCapacity>& scratch, double value) noexcept {
    if (!std::isfinite(value)) {
        return std::isnan(value) ? "nan" : value < 0.0 ? "-inf" : "inf";
    }
    __extension__ using Wide = unsigned __int128;
    constexpr std::uint64_t unit = 1000000;
    constexpr int mantissaBits = 53;
    int exponent = 0;
    const auto mantissa =
        static_cast<std::uint64_t>(std::ldexp(std::frexp(std::fabs(value), &exponent), mantissaBits));
    exponent -= mantissaBits;
    char* const pEnd = scratch.data() + scratch.size();
    std::uint64_t decimals = 0;
    char* pFirst = pEnd - 7;
    if (exponent >= 0) {
        pFirst = writeWhole(mantissa, exponent, pFirst);
    } else {
        // Below 2^-74 even a million times the value rounds to 0.
        const int shift = std::min(-exponent, 75);
        const Wide millionths = Wide{mantissa} * unit;
        const Wide rest = millionths & ((Wide{1} << shift) - 1);
        const Wide half = Wide{1} << (shift - 1);
        auto rounded = static_cast<std::uint64_t>(millionths >> shift);
        rounded += rest > half || (rest == half && rounded % 2 != 0) ? 1 : 0;
        decimals = rounded % unit;
        pFirst = writeWhole(rounded / unit, 0, pFirst);
    }
    *(pEnd - 7) = '.';
    for (char* pDigit = pEnd; pDigit != pEnd - 6; decimals /= 10) {
        *--pDigit = static_cast<char>('0' + decimals % 10);
    }
    if (std::signbit(value)) {
        *--pFirst = '-';
    }
    return {pFirst, static_cast<std::size_t>(pEnd - pFirst)};
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
    std::array<char, fixedCapacity> scratch{};
    append(fixed(scratch, value).substr(0, numberCapacity - 1));
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
