#include "curves/CurveReader.h"

#include "curves/CurveLines.h"
#include "curves/Numbers.h"
#include "curves/Refusal.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <string>
#include <utility>

namespace tovix {
namespace {

/// Rounding to what is worth a byte of the settings text: three digits of a frequency, a tenth of a dB.
double rounded(double value, double step) {
    return std::round(value / step) * step;
}

double roundFrequency(double frequencyHz) {
    constexpr double digitsKept = 3.0;
    const double exponent = std::floor(std::log10(frequencyHz)) - (digitsKept - 1.0);
    // Through an integer, since a step below 1 has no exact value.
    return exponent < 0.0 ? std::round(frequencyHz * std::pow(10.0, -exponent)) / std::pow(10.0, -exponent)
                          : rounded(frequencyHz, std::pow(10.0, exponent));
}

double roundGain(double gainDb) {
    return std::round(gainDb * 10.0) / 10.0;
}

double gainOf(const CurveParts& parts, double frequencyHz) {
    ResponseInterpolator graphic(parts.points);
    return std::accumulate(parts.filters.begin(), parts.filters.end(), parts.preampDb + graphic.gainDb(frequencyHz),
                           [&](double sum, const auto& filter) { return sum + responseDb(filter, frequencyHz); });
}

/// Frequencies over the range of hearing and a little beyond, `perOctave` of them to a doubling.
std::vector<double> frequencyGrid(double perOctave) {
    constexpr double lowestHz = 10.0;
    constexpr double highestHz = 22000.0;
    std::vector<double> frequencies;
    const auto count = static_cast<int>(perOctave * std::log2(highestHz / lowestHz));
    for (int i = 0; i <= count; ++i) {
        frequencies.push_back(lowestHz * std::exp2(i / perOctave));
    }
    return frequencies;
}

/// The grid and, between its frequencies, the parts' own, where a narrow filter has its peak and a line its corners.
std::vector<double> frequenciesOf(const CurveParts& parts, double perOctave) {
    std::vector<double> frequencies = frequencyGrid(perOctave);
    for (const auto& filter : parts.filters) {
        frequencies.push_back(filter.frequencyHz);
    }
    for (const auto& point : parts.points) {
        frequencies.push_back(point.frequencyHz);
    }
    return frequencies;
}

std::vector<double> risingWithoutEquals(std::vector<double> frequencies) {
    std::sort(frequencies.begin(), frequencies.end());
    frequencies.erase(std::unique(frequencies.begin(), frequencies.end()), frequencies.end());
    return frequencies;
}

/// Points of a computed curve to an octave. A fuzzer, whose build defines this name, gets through many more lists
/// with a coarse one.
#ifdef FUZZING_BUILD_MODE_UNSAFE_FOR_PRODUCTION
constexpr double pointsPerOctave = 6.0;
#else
constexpr double pointsPerOctave = 48.0;
#endif

WantedCurve computeCurve(const CurveParts& parts) {
    std::vector<double> frequencies = frequenciesOf(parts, pointsPerOctave);
    std::transform(frequencies.begin(), frequencies.end(), frequencies.begin(), roundFrequency);
    WantedCurve curve{.computed = true};
    for (const double frequencyHz : risingWithoutEquals(std::move(frequencies))) {
        curve.points.push_back({frequencyHz, roundGain(gainOf(parts, frequencyHz))});
    }
    for (const double frequencyHz : risingWithoutEquals(frequenciesOf(parts, 4.0 * pointsPerOctave))) {
        curve.exact.push_back({frequencyHz, gainOf(parts, frequencyHz)});
    }
    return curve;
}

WantedCurve curveOf(const CurveParts& parts) {
    if (!parts.filters.empty()) {
        if (!parts.points.empty()) {
            checkPoints(parts.points);
        }
        return computeCurve(parts);
    }
    if (parts.points.empty()) {
        throw Refusal("There is no curve: neither points nor a filter that is on.");
    }
    WantedCurve curve{.points = parts.points};
    if (parts.preampDb != 0.0) {
        // The sum of two decimal numbers, without the error of adding them in binary.
        constexpr double digits = 1e6;
        for (auto& point : curve.points) {
            point.gainDb = std::round((point.gainDb + parts.preampDb) * digits) / digits;
        }
    }
    curve.exact = curve.points;
    return curve;
}

} // namespace

WantedCurve readPointList(std::string_view text) {
    if (text.find(':') != std::string_view::npos) {
        return readCurve(text);
    }
    std::vector<double> numbers;
    for (auto token : splitAtAny(text, " \t\r\n;")) {
        if (token.ends_with(',')) {
            token.remove_suffix(1);
        }
        numbers.push_back(requireDecimal(token, "the points"));
    }
    if (numbers.size() % 2 != 0) {
        throw Refusal("The points are " + std::to_string(numbers.size()) +
                      " numbers, but each point has two: a frequency in Hz and a gain in dB.");
    }
    CurveParts parts;
    for (std::size_t i = 0; i < numbers.size(); i += 2) {
        parts.points.push_back({numbers[i], numbers[i + 1]});
    }
    return curveOf(parts);
}

WantedCurve readCurve(std::string_view text) {
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    if (text.starts_with(byteOrderMark)) {
        text.remove_prefix(byteOrderMark.size());
    }
    if (text.find('\0') != std::string_view::npos) {
        throw Refusal("The curve is no plain text in UTF-8.");
    }
    CurveParts parts;
    for (std::size_t number = 1; !text.empty(); ++number) {
        const auto length = std::min(text.find('\n'), text.size());
        readCurveLine(text.substr(0, length), "line " + std::to_string(number), parts);
        text.remove_prefix(std::min(length + 1, text.size()));
    }
    return curveOf(parts);
}

} // namespace tovix
