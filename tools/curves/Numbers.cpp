#include "curves/Numbers.h"

#include "curves/Refusal.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace tovix {
namespace {

constexpr std::string_view digits = "0123456789";

bool mayBeThousands(std::string_view token, std::size_t comma) {
    const std::string_view before = token.substr(0, comma);
    const std::string_view after = token.substr(comma + 1);
    constexpr std::size_t group = 3;
    return !before.empty() && before.size() <= group && before.front() != '0' && after.size() == group;
}

/// Without an exponent, which makes the smallest and the largest numbers long.
template <class... Precision> std::string write(double value, Precision... decimals) {
    std::array<char, 512> text{};
    const auto result =
        std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed, decimals...);
    return {text.data(), result.ptr};
}

} // namespace

std::optional<double> parseDecimal(std::string_view token) {
    const bool negative = token.starts_with('-');
    if (negative || token.starts_with('+')) {
        token.remove_prefix(1);
    }
    if (token.empty() ||
        (token.front() != '.' && token.front() != ',' && digits.find(token.front()) == std::string_view::npos)) {
        return std::nullopt;
    }
    std::string text(token);
    if (const auto comma = text.find(','); comma != std::string::npos) {
        if (mayBeThousands(token, comma) || text.find('.') != std::string::npos) {
            return std::nullopt;
        }
        text[comma] = '.';
    }
    double value = 0.0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(value)) {
        return std::nullopt;
    }
    return negative ? -value : value;
}

double requireDecimal(std::string_view token, std::string_view what) {
    const auto value = parseDecimal(token);
    if (!value) {
        throw Refusal(std::string(what) + ": \"" + std::string(token) + "\" cannot be read as a number for certain.");
    }
    return *value;
}

std::string formatDecimal(double value) {
    return value == 0.0 ? "0" : write(value);
}

std::string formatFixed(double value, int decimals) {
    return write(value, decimals);
}

std::string formatDecibels(double db) {
    const double tenths = std::round(db * 10.0) / 10.0;
    return formatFixed(tenths == 0.0 ? 0.0 : tenths, 1) + " dB";
}

std::string counted(std::uint64_t count, std::string_view noun) {
    return std::to_string(count) + ' ' + std::string(noun) + (count == 1 ? "" : "s");
}

double decibelsOf(double magnitude) {
    return 20.0 * std::log10(magnitude);
}

std::vector<std::string_view> splitAtAny(std::string_view text, std::string_view separators) {
    std::vector<std::string_view> parts;
    while (true) {
        text.remove_prefix(std::min(text.find_first_not_of(separators), text.size()));
        if (text.empty()) {
            return parts;
        }
        const auto length = std::min(text.find_first_of(separators), text.size());
        parts.push_back(text.substr(0, length));
        text.remove_prefix(length);
    }
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r";
    const auto first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

} // namespace tovix
