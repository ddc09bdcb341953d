// The limiter: levels of a vector of frames, their envelope and threshold, and what is left of their gain.
#pragma once

#include "kernels/vector/Functions.inl"

namespace tovix {
namespace {

constexpr float largestFloat = __FLT_MAX__;
constexpr double largestDouble = __DBL_MAX__;
/// Added before the logarithm, so that silence has a level.
constexpr double levelFloor = 1e-25;
/// Under it lies no threshold and no reduction: neither is further below full scale than the loudest sample,
/// amplified, is above.
constexpr double lowestPower = -1021.0;
/// The frames of a vector, counted from 1.
constexpr double frameNumbers[]{1.0, 2.0, 3.0, 4.0, 5.0, 6.0, 7.0, 8.0};

[[gnu::always_inline]] inline double largerOf(double a, double b) noexcept {
    return a > b ? a : b;
}
[[gnu::always_inline]] inline std::size_t smallerOf(std::size_t a, std::size_t b) noexcept {
    return a < b ? a : b;
}

/// c - a * b, rounded as in the vectors.
[[gnu::always_inline]] inline double subtractProduct(double c, double a, double b) noexcept {
    return _mm_cvtsd_f64(subtractProduct(_mm_set_sd(c), _mm_set_sd(a), _mm_set_sd(b)));
}

/// The envelope after `frames` more have been released.
[[gnu::always_inline]] inline double envelopeAfter(const LimiterState& state, double frames) noexcept {
    return largerOf(subtractProduct(state.heldLevel, state.step, state.releasedFrames + frames), 0.0);
}

/// Envelope and threshold as the frames released so far leave them.
[[gnu::always_inline]] inline void settle(const LimiterTerms& terms, LimiterState& state) noexcept {
    if (state.releasedFrames > 0.0) {
        state.envelope = envelopeAfter(state, 0.0);
        state.threshold = state.envelope * terms.thresholdPerOctave;
    }
}

/// What a limiter needs and changes during one call of `limit`.
struct Course {
    /// Copies, so that the compiler knows them not to change under the stores.
    LimiterTerms terms;
    LimiterState state;
    /// A vector whose peaks are all at most this one needs no levels: no peak reaches the threshold, and the envelope
    /// only falls. A release only raises the threshold, so this stays true; once an attack has lowered the threshold
    /// below `firstThreshold` it no longer is, and 0 takes its place.
    float plainPeak = 0.0F;
    /// The threshold when the call began.
    double firstThreshold = 0.0;
};

[[gnu::always_inline]] inline float plainPeakAt(const LimiterTerms& terms, double threshold) noexcept {
    // More than the errors of logarithm, power and rounding to a float together.
    constexpr double margin = 1.0 - 1e-6;
    const double amplitude = powerOfTwo(larger(all(threshold), all(lowestPower)))[0] * margin;
    return amplitude < terms.preGain * static_cast<double>(largestFloat)
               ? static_cast<float>(amplitude / terms.preGain)
               : largestFloat;
}

[[gnu::always_inline]] inline void storeLevels(const LimiterTerms& terms, const float* peaks,
                                               double* levels) noexcept {
#pragma GCC unroll 2
    for (std::size_t i = 0; i < floatLanes; i += lanes) {
        store(levels + i, logarithm(multiplyAdd(widened(peaks + i), all(terms.preGain), all(levelFloor))));
    }
}

/// The frames of a vector one by one, because one of them counts: a level above the envelope is held at once, one
/// below lets it fall by a step, and one between leaves it. Returns the thresholds.
///
/// Without branches, because loud frames come in no order that a processor could foresee, and so that as little as
/// possible waits for the frame before.
[[gnu::always_inline]] inline Vector followEach(Course& course, const double* levels, std::size_t count) noexcept {
    const LimiterTerms& terms = course.terms;
    LimiterState& state = course.state;
    settle(terms, state);
    const Single zero = _mm_setzero_pd();
    const Single one = _mm_set_sd(1.0);
    const Single two = _mm_set_sd(2.0);
    const Single stepPerLevel = _mm_set_sd(terms.stepPerLevel);
    const Single thresholdPerOctave = _mm_set_sd(terms.thresholdPerOctave);
    Single held = _mm_set_sd(state.heldLevel);
    Single step = _mm_set_sd(state.step);
    Single threshold = _mm_set_sd(state.threshold);
    Single envelope = _mm_set_sd(state.envelope);
    // The envelope if the frame is released, and how many have been if the next one is too.
    Single fallen = _mm_set_sd(envelopeAfter(state, 1.0));
    Single afterNext = _mm_set_sd(state.releasedFrames + 2.0);
    Single thresholds[lanes]{};
#pragma GCC unroll 8
    for (std::size_t i = 0; i < lanes; ++i) {
        if (i == count) {
            break;
        }
        const Single level = _mm_load_sd(levels + i);
        const Single levelStep = _mm_mul_sd(level, stepPerLevel);
        const Single levelFallen = _mm_max_sd(_mm_sub_sd(level, levelStep), zero);
        const Single fallenTwice = _mm_max_sd(subtractProduct(held, step, afterNext), zero);
        const Single attacks = _mm_cmpgt_sd(level, envelope);
        const Single stays = _mm_cmpgt_sd(level, fallen);
        envelope = choose(stays, _mm_max_sd(level, envelope), fallen);
        fallen = choose(attacks, levelFallen, choose(stays, fallen, fallenTwice));
        afterNext = choose(attacks, two, _mm_add_sd(afterNext, _mm_andnot_pd(stays, one)));
        held = choose(attacks, level, held);
        step = choose(attacks, levelStep, step);
        threshold = _mm_min_sd(_mm_mul_sd(envelope, thresholdPerOctave), _mm_and_pd(stays, threshold));
        thresholds[i] = threshold;
    }
    state = {_mm_cvtsd_f64(envelope), _mm_cvtsd_f64(threshold), _mm_cvtsd_f64(held), _mm_cvtsd_f64(afterNext) - 2.0,
             _mm_cvtsd_f64(step)};
    return joined(thresholds);
}

[[gnu::always_inline]] inline Vector envelopesAfter(const LimiterState& state, Vector releasedFrames) noexcept {
    return larger(subtractProduct(all(state.heldLevel), all(state.step), releasedFrames), all(0.0));
}

/// Where every frame of a vector either has the held level, which takes the envelope back to it, or is released:
/// leaves their thresholds and returns true. The loud frames of sound that was clipped are of this kind, and those of
/// one with a constant peak.
[[gnu::always_inline]] inline bool returnToHeldLevel(const LimiterTerms& terms, LimiterState& state, Vector levels,
                                                     std::size_t count, Vector& thresholds) noexcept {
    const double heldThreshold = state.heldLevel * terms.thresholdPerOctave;
    const bool isChanged = state.step != state.heldLevel * terms.stepPerLevel ||
                           (state.releasedFrames == 0.0 && state.threshold != heldThreshold);
    // The number of the last frame of the held level; one before the vector has a number below 1. As little as
    // possible waits for the vector before.
    const Vector numbers = load(frameNumbers);
    const Vector held = largestUpToEach(chooseEqual(levels, all(state.heldLevel), numbers, all(-largestDouble)));
    const Vector releasedFrames = numbers - larger(held, all(-state.releasedFrames));
    const Vector envelopes = envelopesAfter(state, releasedFrames);
    if (isChanged || anyBeyond(levels, envelopes)) {
        return false;
    }
    thresholds = envelopes * all(terms.thresholdPerOctave);
    state.releasedFrames = releasedFrames[lanes - 1];
    if (count < lanes) {
        state.releasedFrames -= static_cast<double>(lanes - count);
    }
    state.envelope = state.heldLevel;
    state.threshold = heldThreshold;
    return true;
}

/// Turns the levels of a vector of frames, of which `count` exist, into their factors.
[[gnu::always_inline]] inline void turnDown(Course& course, double* frames, std::size_t count) noexcept {
    const LimiterTerms& terms = course.terms;
    LimiterState& state = course.state;
    const Vector levels = load(frames);
    const Vector envelopes = envelopesAfter(state, all(state.releasedFrames) + load(frameNumbers));
    Vector thresholds = envelopes * all(terms.thresholdPerOctave);
    if (!anyBeyond(levels, envelopes)) {
        state.releasedFrames += static_cast<double>(count);
    } else {
        if (!returnToHeldLevel(terms, state, levels, count, thresholds)) {
            thresholds = followEach(course, frames, count);
        }
        course.plainPeak = anyBeyond(all(course.firstThreshold), thresholds) ? 0.0F : course.plainPeak;
    }
    const Vector excess = larger(levels - thresholds, all(0.0));
    const Vector power = larger(excess * all(terms.gainPerOctave), all(lowestPower));
    store(frames, all(terms.preGain) * powerOfTwo(power));
}

RT_SECTION void limit(const LimiterTerms& terms, LimiterState& state, const float* peaks, std::size_t count,
                      double* factors) noexcept {
    Course course{terms, state, plainPeakAt(terms, state.threshold), state.threshold};
    const float firstPlainPeak = course.plainPeak;
    // The levels come first: what follows branches on them, and a branch that was foreseen wrongly would otherwise
    // wait for a whole logarithm.
    for (std::size_t f = 0; f < count; f += floatLanes) {
        if (anyBeyond(loadFloats(peaks + f), firstPlainPeak)) {
            storeLevels(course.terms, peaks + f, factors + f);
        }
    }
    for (std::size_t f = 0; f < count; f += floatLanes) {
        if (anyBeyond(loadFloats(peaks + f), course.plainPeak)) {
            if (!anyBeyond(loadFloats(peaks + f), firstPlainPeak)) {
                storeLevels(course.terms, peaks + f, factors + f);
            }
            for (std::size_t i = f; i < f + floatLanes; i += lanes) {
                turnDown(course, factors + i, i < count ? smallerOf(lanes, count - i) : 0);
            }
            continue;
        }
        course.state.releasedFrames += static_cast<double>(smallerOf(floatLanes, count - f));
        store(factors + f, all(course.terms.preGain));
        store(factors + f + lanes, all(course.terms.preGain));
    }
    settle(terms, course.state);
    state = course.state;
}

} // namespace
} // namespace tovix
