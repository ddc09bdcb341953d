// The limiter's loops over the samples: the peaks of the channels, and the multiplication by the factors.
#pragma once

namespace tovix {
namespace {

/// What is left of a run when its last vector is not full, with zeros behind it.
struct Rest {
    float samples[floatLanes]{};
    [[gnu::always_inline]] Rest(const float* run, std::size_t from, std::size_t count) noexcept {
        for (std::size_t i = from; i < count; ++i) {
            samples[i - from] = run[i];
        }
    }
};

RT_SECTION float largestMagnitude(const ChannelRun& run) noexcept {
    Largest largest;
    for (std::size_t c = 0; c < run.channelCount; ++c) {
        const float* const samples = run.channels[c] + run.first;
        std::size_t f = 0;
        for (; f + floatLanes <= run.count; f += floatLanes) {
            largest.add(magnitudeOf(loadFloats(samples + f)));
        }
        if (f < run.count) {
            largest.add(magnitudeOf(loadFloats(Rest(samples, f, run.count).samples)));
        }
    }
    float each[floatLanes];
    storeFloats(each, largest.magnitudes());
    float result = 0.0F;
    for (const float one : each) {
        result = one > result ? one : result;
    }
    return largest.isFinite() ? result : __builtin_inff();
}

/// Adds a vector of two channels to the peaks of the channels before.
template <bool isFirst>
[[gnu::always_inline]] inline void link(const float* a, const float* b, float* peaks, Largest& largest) noexcept {
    const Floats one = magnitudeOf(loadFloats(a));
    const Floats other = magnitudeOf(loadFloats(b));
    const Floats pair = larger(one, other);
    storeFloats(peaks, isFirst ? pair : larger(pair, loadFloats(peaks)));
    largest.add(one);
    largest.add(other);
}

template <bool isFirst>
[[gnu::always_inline]] inline void linkPair(const float* a, const float* b, std::size_t count, float* peaks,
                                            Largest& largest) noexcept {
    std::size_t f = 0;
    for (; f + floatLanes <= count; f += floatLanes) {
        link<isFirst>(a + f, b + f, peaks + f, largest);
    }
    if (f < count) {
        link<isFirst>(Rest(a, f, count).samples, Rest(b, f, count).samples, peaks + f, largest);
    }
}

RT_SECTION bool linkedPeaks(const ChannelRun& run, float* peaks) noexcept {
    Largest largest;
    for (std::size_t c = 0; c < run.channelCount; c += 2) {
        const float* const one = run.channels[c] + run.first;
        const float* const other = c + 1 < run.channelCount ? run.channels[c + 1] + run.first : one;
        if (c == 0) {
            linkPair<true>(one, other, run.count, peaks, largest);
        } else {
            linkPair<false>(one, other, run.count, peaks, largest);
        }
    }
    return largest.isFinite();
}

[[gnu::always_inline]] inline void applyFactors(float* samples, const double* factors) noexcept {
    storeRounded(samples, widened(samples) * load(factors));
    storeRounded(samples + lanes, widened(samples + lanes) * load(factors + lanes));
}

RT_SECTION void applyFactors(const ChannelRun& run, const double* factors) noexcept {
    const std::size_t count = run.count;
    for (std::size_t c = 0; c < run.channelCount; ++c) {
        float* const samples = run.channels[c] + run.first;
        std::size_t f = 0;
        for (; f + floatLanes <= count; f += floatLanes) {
            applyFactors(samples + f, factors + f);
        }
        if (f < count) {
            Rest rest(samples, f, count);
            applyFactors(rest.samples, factors + f);
            for (std::size_t i = f; i < count; ++i) {
                samples[i] = rest.samples[i - f];
            }
        }
    }
}

} // namespace
} // namespace tovix
