#pragma once

#include "filters/ResponseInterpolator.h"

#include <cmath>
#include <vector>

namespace tovix::test {

/// A curve by its definition: straight lines in dB over the logarithm of frequency, flat ends; 0 dB without points.
inline double drawnDb(const std::vector<ResponsePoint>& points, double frequencyHz) {
    if (points.empty()) {
        return 0.0;
    }
    if (frequencyHz <= points.front().frequencyHz) {
        return points.front().gainDb;
    }
    for (std::size_t i = 1; i < points.size(); ++i) {
        const ResponsePoint& low = points[i - 1];
        const ResponsePoint& high = points[i];
        if (frequencyHz <= high.frequencyHz) {
            const double t = std::log(frequencyHz / low.frequencyHz) / std::log(high.frequencyHz / low.frequencyHz);
            return low.gainDb + t * (high.gainDb - low.gainDb);
        }
    }
    return points.back().gainDb;
}

} // namespace tovix::test
