#pragma once

#include "LimiterFigures.h"

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tovix::bench {

/// A column of the table: what one limiter made of each sound, if it is there.
struct Contestant {
    std::string title;
    std::size_t delayFrames = 0;
    std::map<std::string_view, Take> takes;
};

/// How many bars were met.
struct Outcome {
    int met = 0;
    int missed = 0;

    /// Counts a figure, unless there is no bar, and says what became of it.
    const char* judge(double value, std::optional<double> least, std::optional<double> most);
};

/// A row for each figure and a column for each limiter; the bars are those of `contestants[judged]`.
void printLimiterTable(std::vector<Contestant>& contestants, std::size_t judged, Outcome& outcome);

} // namespace tovix::bench
