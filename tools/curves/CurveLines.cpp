#include "curves/CurveLines.h"

#include "curves/Numbers.h"
#include "curves/Refusal.h"

#include <algorithm>
#include <string>

namespace tovix {
namespace {

constexpr std::string_view blanks = " \t";

[[noreturn]] void refuse(std::string_view where, const std::string& reason) {
    throw Refusal(std::string(where) + ": " + reason);
}

std::string quoted(std::string_view text) {
    return "\"" + std::string(text) + "\"";
}

std::string_view withoutComma(std::string_view token) {
    return token.ends_with(',') ? token.substr(0, token.size() - 1) : token;
}

ResponsePoint readPoint(std::string_view text, std::string_view where) {
    auto tokens = splitAtAny(text, " \t;");
    if (tokens.size() == 1) {
        tokens = splitAtAny(text, ",");
    }
    if (tokens.size() != 2) {
        refuse(where, quoted(text) + " is no point, which is a frequency in Hz and a gain in dB.");
    }
    return {requireDecimal(withoutComma(tokens[0]), where), requireDecimal(tokens[1], where)};
}

void readGraphic(std::string_view text, std::string_view where, CurveParts& parts) {
    if (parts.hasGraphic || !parts.points.empty()) {
        refuse(where, "these are points for a second time.");
    }
    parts.hasGraphic = true;
    for (const auto point : splitAtAny(text, ";")) {
        if (const auto inner = trimmed(point); !inner.empty()) {
            parts.points.push_back(readPoint(inner, where));
        }
    }
}

/// The words of a line, taken one after the other.
class Words {
public:
    Words(std::string_view text, std::string_view where) : m_words(splitAtAny(text, blanks)), m_where(where) {}

    [[nodiscard]] bool atEnd() const { return m_next == m_words.size(); }
    std::string_view take() { return atEnd() ? std::string_view() : m_words[m_next++]; }
    /// A number, and the unit that must follow it.
    double takeNumber(std::string_view unit) {
        const double value = requireDecimal(take(), m_where);
        if (!unit.empty()) {
            if (const auto word = take(); word != unit) {
                refuse(m_where, "there is " + quoted(word) + " where " + quoted(unit) + " should be.");
            }
        }
        return value;
    }

private:
    std::vector<std::string_view> m_words;
    std::string_view m_where;
    std::size_t m_next = 0;
};

ParametricFilter::Kind readKind(std::string_view word, std::string_view where) {
    using Kind = ParametricFilter::Kind;
    if (word == "PK" || word == "PEQ") {
        return Kind::peaking;
    }
    if (word == "LS" || word == "LSC") {
        return Kind::lowShelf;
    }
    if (word == "HS" || word == "HSC") {
        return Kind::highShelf;
    }
    refuse(where, "filters of the kind " + quoted(word) + " are not known; there are PK, LS, LSC, HS and HSC.");
}

/// A filter's values as they are written, in any order.
struct FilterValues {
    std::optional<double> frequencyHz;
    std::optional<double> gainDb;
    std::optional<double> q;
};

FilterValues readValues(Words& words, std::string_view where) {
    FilterValues values;
    while (!words.atEnd()) {
        const auto name = words.take();
        const auto readOnce = [&](std::optional<double>& value, std::string_view unit) {
            if (value) {
                refuse(where, "the filter has its " + std::string(name) + " twice.");
            }
            value = words.takeNumber(unit);
        };
        if (name == "Fc") {
            readOnce(values.frequencyHz, "Hz");
        } else if (name == "Gain") {
            readOnce(values.gainDb, "dB");
        } else if (name == "Q") {
            readOnce(values.q, "");
        } else {
            refuse(where, quoted(name) + " is none of a filter's values, which are Fc, Gain and Q.");
        }
    }
    return values;
}

/// Every kind needs all three values.
ParametricFilter usableFilter(ParametricFilter::Kind kind, const FilterValues& values, std::string_view where) {
    if (!values.frequencyHz) {
        refuse(where, "the filter has no frequency (Fc).");
    }
    if (!values.gainDb) {
        refuse(where, "the filter has no Gain.");
    }
    const ParametricFilter filter{kind, *values.frequencyHz, *values.gainDb, values.q.value_or(0.0)};
    if (filter.frequencyHz <= 0.0 || filter.frequencyHz >= parametricSampleRateHz / 2.0) {
        refuse(where, "a filter's frequency (Fc) must lie above 0 and below " +
                          formatDecimal(parametricSampleRateHz / 2.0) + " Hz.");
    }
    if (filter.q <= 0.0) {
        refuse(where, "a filter needs its Q, above 0; what a shelf without one is differs from program to program.");
    }
    return filter;
}

void readFilter(std::string_view text, std::string_view where, CurveParts& parts) {
    Words words(text, where);
    const auto state = words.take();
    if (state == "OFF") {
        return;
    }
    if (state != "ON") {
        refuse(where, "a filter begins with ON or OFF, not with " + quoted(state) + ".");
    }
    const auto kindName = words.take();
    if (kindName == "None") {
        return;
    }
    const auto kind = readKind(kindName, where);
    parts.filters.push_back(usableFilter(kind, readValues(words, where), where));
}

} // namespace

void readCurveLine(std::string_view line, std::string_view where, CurveParts& parts) {
    line = trimmed(line);
    if (line.empty() || line.starts_with('#')) {
        return;
    }
    const auto colon = line.find(':');
    if (colon == std::string_view::npos) {
        if (parts.hasGraphic) {
            refuse(where, "these are points for a second time.");
        }
        parts.points.push_back(readPoint(line, where));
        return;
    }
    const auto name = line.substr(0, colon);
    const auto value = line.substr(colon + 1);
    if (name == "GraphicEQ") {
        readGraphic(value, where, parts);
    } else if (name == "Preamp") {
        Words words(value, where);
        parts.preampDb += words.takeNumber("dB");
    } else if (name.starts_with("Filter")) {
        readFilter(value, where, parts);
    } else {
        refuse(where, quoted(name) + " lines are not understood, or cannot be done by one curve for all channels.");
    }
}

} // namespace tovix
