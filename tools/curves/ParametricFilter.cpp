#include "curves/ParametricFilter.h"

#include "curves/Numbers.h"

#include <cmath>
#include <complex>
#include <numbers>

namespace tovix {
namespace {

struct Biquad {
    double b0, b1, b2;
    double a0, a1, a2;
};

double angle(double frequencyHz) {
    return 2.0 * std::numbers::pi * frequencyHz / parametricSampleRateHz;
}

/// The cookbook's intermediate values, under its names.
struct Design {
    explicit Design(const ParametricFilter& filter)
        : A(std::pow(10.0, filter.gainDb / 40.0)), c(std::cos(angle(filter.frequencyHz))),
          alpha(std::sin(angle(filter.frequencyHz)) / (2.0 * filter.q)), slope(2.0 * std::sqrt(A) * alpha) {}
    double A;
    double c;
    double alpha;
    double slope;
};

Biquad peaking(const Design& d) {
    return {1.0 + d.alpha * d.A, -2.0 * d.c, 1.0 - d.alpha * d.A,
            1.0 + d.alpha / d.A, -2.0 * d.c, 1.0 - d.alpha / d.A};
}

/// A high shelf is the low one with the sign of the cosine, and of the odd coefficients, turned.
Biquad shelf(const Design& d, double sign) {
    const double c = sign * d.c;
    const double A = d.A;
    return {A * ((A + 1.0) - (A - 1.0) * c + d.slope), sign * 2.0 * A * ((A - 1.0) - (A + 1.0) * c),
            A * ((A + 1.0) - (A - 1.0) * c - d.slope), (A + 1.0) + (A - 1.0) * c + d.slope,
            sign * -2.0 * ((A - 1.0) + (A + 1.0) * c), (A + 1.0) + (A - 1.0) * c - d.slope};
}

Biquad design(const ParametricFilter& filter) {
    const Design d(filter);
    switch (filter.kind) {
    case ParametricFilter::Kind::lowShelf:
        return shelf(d, 1.0);
    case ParametricFilter::Kind::highShelf:
        return shelf(d, -1.0);
    case ParametricFilter::Kind::peaking:
        break;
    }
    return peaking(d);
}

} // namespace

double responseDb(const ParametricFilter& filter, double frequencyHz) {
    const Biquad q = design(filter);
    const auto z = std::polar(1.0, -angle(frequencyHz));
    const auto gain = (q.b0 + z * (q.b1 + z * q.b2)) / (q.a0 + z * (q.a1 + z * q.a2));
    return decibelsOf(std::abs(gain));
}

} // namespace tovix
