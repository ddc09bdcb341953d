#include "curves/Curve.h"

#include "curves/Numbers.h"
#include "curves/Refusal.h"
#include "text/Limits.h"

#include <string>

namespace tovix {
namespace {

std::string hertz(double frequencyHz) {
    return formatDecimal(frequencyHz) + " Hz";
}

void checkPoint(const ResponsePoint& point) {
    if (point.frequencyHz <= 0.0) {
        throw Refusal("A point at " + hertz(point.frequencyHz) + " has no place on a logarithmic scale.");
    }
    if (point.gainDb < minEqualizerGainDb || point.gainDb > maxBoostDb) {
        throw Refusal("The gain of " + formatDecimal(point.gainDb) + " dB at " + hertz(point.frequencyHz) +
                      " lies outside of " + formatDecimal(minEqualizerGainDb) + " to " + formatDecimal(maxBoostDb) +
                      " dB.");
    }
}

} // namespace

void checkPoints(const Points& points) {
    if (points.empty()) {
        throw Refusal("A curve needs at least one point; to have none, switch the equalizer off with \"eq off\".");
    }
    if (points.size() > largestCurve) {
        throw Refusal("The curve has " + std::to_string(points.size()) + " points; at most " +
                      std::to_string(largestCurve) + " are taken.");
    }
    for (std::size_t i = 0; i < points.size(); ++i) {
        checkPoint(points[i]);
        if (i > 0 && points[i].frequencyHz == points[i - 1].frequencyHz) {
            throw Refusal("There are two points at " + hertz(points[i].frequencyHz) + ".");
        }
        if (i > 0 && points[i].frequencyHz < points[i - 1].frequencyHz) {
            throw Refusal("The points are out of order: " + hertz(points[i].frequencyHz) + " follows " +
                          hertz(points[i - 1].frequencyHz) + ".");
        }
    }
}

} // namespace tovix
