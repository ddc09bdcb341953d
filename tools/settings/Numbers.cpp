#include "settings/Numbers.h"

#include "settings/Refusal.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace tovix::control {
namespace {

constexpr std::string_view digits = "0123456789";

bool mayBeThousands(std::string_view token, std::size_t comma) {
    const std::string_view before = token.substr(0, comma);
    const std::string_view after = token.substr(comma + 1);
    constexpr std::size_t group = 3;
    return !before.empty() && before.size() <= group && before.front() != '0' && after.size() == group;
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
    if (value == 0.0) {
        return "0";
    }
    constexpr std::size_t longest = 400;
    std::array<char, longest> text{};
    return {text.data(), std::to_chars(text.data(), text.data() + longest, value, std::chars_format::fixed).ptr};
}

std::string formatDecibels(double db) {
    std::array<char, 32> text{};
    const double tenths = std::round(db * 10.0) / 10.0;
    auto* const end = std::to_chars(text.data(), text.data() + text.size(), tenths == 0.0 ? 0.0 : tenths,
                                    std::chars_format::fixed, 1)
                          .ptr;
    return std::string(text.data(), end) + " dB";
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

} // namespace tovix::control
