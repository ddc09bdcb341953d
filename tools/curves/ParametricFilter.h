#pragma once

namespace tovix {

/// One section of a parametric equalizer: a biquad of the Audio EQ Cookbook (R. Bristow-Johnson). [control], any
/// thread, as all in this header.
struct ParametricFilter {
    enum class Kind { peaking, lowShelf, highShelf };
    Kind kind = Kind::peaking;
    /// Centre of a peak, or middle of a shelf's slope, where it has half its gain.
    double frequencyHz = 0.0;
    double gainDb = 0.0;
    double q = 0.0;
};

/// Sample rate at which the sections are evaluated. Their bilinear transform bends the response near half of it.
constexpr double parametricSampleRateHz = 48000.0;

/// Gain of the section at `frequencyHz`, in dB; both frequencies above 0 and below half the sample rate, q above 0.
double responseDb(const ParametricFilter& filter, double frequencyHz);

} // namespace tovix
