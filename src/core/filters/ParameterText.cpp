#include "filters/ParameterText.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

namespace tovix {
namespace {

constexpr std::wstring_view blanks = L" \t\n\v\f\r";
constexpr std::wstring_view numberCharacters = L"-+0123456789.eE";

void skipBlanks(std::wstring_view& text) {
    text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
}

bool takeText(std::wstring_view& text, std::wstring_view expected) {
    if (!text.starts_with(expected)) {
        return false;
    }
    text.remove_prefix(expected.size());
    return true;
}

bool isDigit(wchar_t c) {
    return c >= L'0' && c <= L'9';
}

/// Takes a signed decimal number off `text`, blanks before it included; one beyond 32 bits is held at the limit.
std::optional<std::int32_t> takeInteger(std::wstring_view& text) {
    skipBlanks(text);
    std::wstring_view rest = text;
    const bool negative = rest.starts_with(L'-');
    if (negative || rest.starts_with(L'+')) {
        rest.remove_prefix(1);
    }
    if (rest.empty() || !isDigit(rest.front())) {
        return std::nullopt;
    }
    constexpr std::int64_t beyond = std::int64_t{1} << 32;
    std::int64_t magnitude = 0;
    for (; !rest.empty() && isDigit(rest.front()); rest.remove_prefix(1)) {
        magnitude = std::min(magnitude * 10 + (rest.front() - L'0'), beyond);
    }
    text = rest;
    using Limits = std::numeric_limits<std::int32_t>;
    return static_cast<std::int32_t>(
        std::clamp<std::int64_t>(negative ? -magnitude : magnitude, Limits::min(), Limits::max()));
}

/// What a text that starts with a level begins with.
struct LevelAndRest {
    std::optional<std::int32_t> level;
    /// Whether "dB" follows the level.
    bool hasUnit = false;
    std::wstring rest;
};

LevelAndRest takeLevel(std::wstring_view text) {
    // A decimal ends the number either way.
    const std::wstring withPoints = replaceCharacters(text, L",", L".");
    std::wstring_view rest = withPoints;
    LevelAndRest fields;
    fields.level = takeInteger(rest);
    skipBlanks(rest);
    fields.hasUnit = fields.level && takeText(rest, L"dB");
    fields.rest = rest;
    return fields;
}

/// The number at the start of `run`, which holds number characters only; 0 when there is none.
double numberFrom(std::wstring_view run) {
    std::string digits(run.size(), '\0');
    std::transform(run.begin(), run.end(), digits.begin(), [](wchar_t c) { return static_cast<char>(c); });
    std::string_view text = digits;
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    double magnitude = 0.0;
    // After a second sign there is no number; from_chars would take a minus.
    if (text.starts_with('-')) {
        return 0.0;
    }
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), magnitude);
    if (error == std::errc::result_out_of_range) {
        const auto exponent = text.find_first_of("eE");
        const bool tiny = exponent != std::string_view::npos && text.substr(exponent + 1).starts_with('-');
        magnitude = tiny ? 0.0 : HUGE_VAL;
    }
    return negative ? -magnitude : magnitude;
}

} // namespace

std::wstring replaceCharacters(std::wstring_view text, std::wstring_view characters, std::wstring_view replacement) {
    std::wstring replaced;
    replaced.reserve(text.size());
    for (const wchar_t c : text) {
        if (characters.find(c) != std::wstring_view::npos) {
            replaced += replacement;
        } else {
            replaced += c;
        }
    }
    return replaced;
}

BoostParameters parseBoostParameters(std::wstring_view text) {
    const LevelAndRest fields = takeLevel(text);
    BoostParameters parameters;
    parameters.fieldCount = fields.level ? 1 : 0;
    parameters.level = fields.level.value_or(0);
    std::wstring_view rest = fields.rest;
    if (const auto mode = fields.hasUnit ? takeInteger(rest) : std::nullopt) {
        parameters.fieldCount = 2;
        parameters.mode = *mode;
    }
    return parameters;
}

std::optional<MaximizerParameters> parseMaximizerParameters(std::wstring_view text) {
    const LevelAndRest fields = takeLevel(text);
    if (!fields.hasUnit) {
        return std::nullopt;
    }
    std::wstring_view rest = fields.rest;
    const auto ceiling = takeInteger(rest);
    skipBlanks(rest);
    if (!ceiling && !rest.empty()) {
        return std::nullopt;
    }
    return MaximizerParameters{*fields.level, ceiling.value_or(0)};
}

std::vector<ResponsePoint> parseResponsePoints(std::wstring_view text) {
    const bool hasPoint = text.find(L'.') != std::wstring_view::npos;
    const std::wstring normalised = hasPoint ? std::wstring(text) : replaceCharacters(text, L",", L".");
    std::wstring_view rest = normalised;
    std::vector<double> numbers;
    while (true) {
        rest.remove_prefix(std::min(rest.find_first_of(numberCharacters), rest.size()));
        if (rest.empty()) {
            break;
        }
        const auto length = std::min(rest.find_first_not_of(numberCharacters), rest.size());
        numbers.push_back(numberFrom(rest.substr(0, length)));
        rest.remove_prefix(length);
    }
    std::vector<ResponsePoint> points;
    for (std::size_t i = 0; i + 1 < numbers.size(); i += 2) {
        points.push_back({numbers[i], numbers[i + 1]});
    }
    std::sort(points.begin(), points.end(),
              [](const ResponsePoint& a, const ResponsePoint& b) { return a.frequencyHz < b.frequencyHz; });
    return points;
}

} // namespace tovix
