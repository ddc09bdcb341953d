// The passes down the columns: a transform of all points by decimation in frequency, as far as whole rows are
// combined, and its way back. The twiddles reach into the lanes, so that what is left is one transform per row.
#pragma once

#include "convolution/vector/Lanes.inl"

namespace tovix {
namespace {

#define ALWAYS_INLINE __attribute__((always_inline))

/// One pass of a transform whose `rowCount` rows fall into groups of `span`: the part that does the rows from `first`
/// up to `last`, not by their place but by how many of them are done, in whole butterflies.
struct Pass {
    std::size_t rowCount;
    std::size_t span;
    const float* twiddles;
    std::size_t first;
    std::size_t last;
};

/// Calls `run` with the first row of each butterfly of the pass and its twiddles.
template <std::size_t radix, class Run>
[[gnu::always_inline]] inline void eachButterfly(const Pass& pass, Run run) noexcept {
    const std::size_t part = pass.span / radix;
    const std::size_t first = pass.first / radix;
    std::size_t left = pass.last / radix - first;
    std::size_t begin = first == 0 ? 0 : first % part;
    std::size_t group = first == 0 ? 0 : first / part * pass.span;
    while (left > 0) {
        const std::size_t count = left < part - begin ? left : part - begin;
        const float* twiddle = pass.twiddles + begin * (radix - 1) * rowFloats;
        for (std::size_t row = group + begin; row < group + begin + count; ++row) {
            run(row, part, twiddle);
            twiddle += (radix - 1) * rowFloats;
        }
        left -= count;
        begin = 0;
        group += pass.span;
    }
}

/// `take` gives a row by its number; the results go to `work`.
template <std::size_t radix, class Take>
[[gnu::always_inline]] inline void forwardPass(const Pass& pass, float* work, Take take) noexcept {
    eachButterfly<radix>(pass, [&](std::size_t row, std::size_t part, const float* twiddle) ALWAYS_INLINE {
        Row x[radix];
#pragma GCC unroll 8
        for (std::size_t leg = 0; leg < radix; ++leg) {
            x[leg] = take(row + leg * part);
        }
        transform<radix>(x);
        storeRow(work + row * rowFloats, x[0]);
#pragma GCC unroll 8
        for (std::size_t leg = 1; leg < radix; ++leg) {
            storeRow(work + (row + leg * part) * rowFloats, times(x[leg], loadRow(twiddle + (leg - 1) * rowFloats)));
        }
    });
}

/// `give` takes a result and its row's number.
template <std::size_t radix, class Give>
[[gnu::always_inline]] inline void inversePass(const Pass& pass, const float* work, Give give) noexcept {
    eachButterfly<radix>(pass, [&](std::size_t row, std::size_t part, const float* twiddle) ALWAYS_INLINE {
        Row x[radix];
        x[0] = loadRow(work + row * rowFloats);
#pragma GCC unroll 8
        for (std::size_t leg = 1; leg < radix; ++leg) {
            x[leg] = times(loadRow(work + (row + leg * part) * rowFloats), loadRow(twiddle + (leg - 1) * rowFloats));
        }
        transform<radix>(x);
#pragma GCC unroll 8
        for (std::size_t leg = 0; leg < radix; ++leg) {
            give(row + leg * part, x[leg]);
        }
    });
}

/// Calls `run` with the radix as a constant.
template <class Run> [[gnu::always_inline]] inline void withRadix(std::size_t radix, Run run) noexcept {
    switch (radix) {
    case 8:
        return run.template operator()<8>();
    case 6:
        return run.template operator()<6>();
    case 5:
        return run.template operator()<5>();
    case 4:
        return run.template operator()<4>();
    case 3:
        return run.template operator()<3>();
    case 2:
        return run.template operator()<2>();
    default:
        return run.template operator()<1>();
    }
}

RT_SECTION void firstPass(std::size_t radix, const Pass& pass, const float* weights, const BlockSource& source,
                          float* work) noexcept {
    const auto weighted = [&](std::size_t row) ALWAYS_INLINE {
        const float* const from =
            row < source.fullRows ? source.samples + row * lanes : source.rest + (row - source.fullRows) * lanes;
        const Vector samples = finiteOrZero(loadAnywhere(from));
        const Row weight = loadRow(weights + row * rowFloats);
        return Row{samples * weight.re, samples * weight.im};
    };
    withRadix(radix, [&]<std::size_t constant>() ALWAYS_INLINE { forwardPass<constant>(pass, work, weighted); });
}

RT_SECTION void middlePass(std::size_t radix, const Pass& pass, float* work) noexcept {
    const auto stored = [&](std::size_t row) ALWAYS_INLINE { return loadRow(work + row * rowFloats); };
    withRadix(radix, [&]<std::size_t constant>() ALWAYS_INLINE { forwardPass<constant>(pass, work, stored); });
}

RT_SECTION void middlePassBack(std::size_t radix, const Pass& pass, float* work) noexcept {
    const auto stored = [&](std::size_t row, Row a) ALWAYS_INLINE { storeRow(work + row * rowFloats, a); };
    withRadix(radix, [&]<std::size_t constant>() ALWAYS_INLINE { inversePass<constant>(pass, work, stored); });
}

/// Takes the weights off, which leaves the first N samples of the convolution in the real part and the next N in the
/// imaginary one.
[[gnu::always_inline]] inline Row unweighted(const float* weights, std::size_t row, Row a) noexcept {
    const Row weight = loadRow(weights + row * rowFloats);
    // The parts are still exchanged.
    return {multiplyAdd(a.im, weight.re, a.re * weight.im), subtractProduct(a.re * weight.re, a.im, weight.im)};
}

/// What lies beyond the block is its overlap.
RT_SECTION void lastPassBack(std::size_t radix, const Pass& pass, const float* weights, const float* work,
                             const BlockTarget& target) noexcept {
    const std::size_t blockFrames = target.blockFrames;
    const std::size_t excess = pass.rowCount * lanes - blockFrames;
    const auto finished = [&](std::size_t row, Row a) ALWAYS_INLINE {
        const Row halves = unweighted(weights, row, a);
        const std::size_t frame = row * lanes;
        const Vector sum = halves.re + loadAnywhere(target.overlapBefore + frame);
        storeAnywhere(target.overlap + frame + excess, halves.im);
        if (row < target.fullRows) {
            storeAnywhere(target.samples + frame, sum);
            return;
        }
        storeAnywhere(target.rest + (row - target.fullRows) * lanes, sum);
        // A row that the block ends in puts its beginning before the overlap's.
        storeAnywhere(target.overlap + frame - blockFrames, halves.re);
    };
    withRadix(radix, [&]<std::size_t constant>() ALWAYS_INLINE { inversePass<constant>(pass, work, finished); });
}

/// The same where vectors fill the block, most often by far, without a question for each row.
RT_SECTION void lastPassBackFull(std::size_t radix, const Pass& pass, const float* weights, const float* work,
                                 const BlockTarget& target) noexcept {
    const float* const before = target.overlapBefore;
    float* const overlap = target.overlap;
    float* const samples = target.samples;
    const auto finished = [&](std::size_t row, Row a) ALWAYS_INLINE {
        const Row halves = unweighted(weights, row, a);
        const std::size_t frame = row * lanes;
        const Vector sum = halves.re + load(before + frame);
        store(overlap + frame, halves.im);
        storeAnywhere(samples + frame, sum);
    };
    withRadix(radix, [&]<std::size_t constant>() ALWAYS_INLINE { inversePass<constant>(pass, work, finished); });
}

/// Leaves to a pass its part of the steps, `done` being those of the passes before it. False when it has none.
[[gnu::always_inline]] inline bool takePart(const ColumnSteps& steps, std::size_t done, Pass& pass) noexcept {
    const std::size_t end = done + pass.rowCount;
    pass.first = steps.first > done ? steps.first - done : 0;
    pass.last = (steps.last < end ? steps.last : end) - done;
    return steps.first < end && steps.last > done;
}

RT_SECTION void forwardColumns(const TransformTables& tables, const ColumnSteps& steps, const BlockSource& source,
                               float* work) noexcept {
    Pass pass{tables.rowCount, tables.rowCount, tables.twiddles, 0, 0};
    for (std::size_t p = 0; p < tables.passCount; ++p) {
        const std::size_t radix = tables.radices[p];
        if (takePart(steps, p * tables.rowCount, pass)) {
            if (p == 0) {
                firstPass(radix, pass, tables.weights, source, work);
            } else {
                middlePass(radix, pass, work);
            }
        }
        pass.span /= radix;
        pass.twiddles += (radix - 1) * pass.span * rowFloats;
    }
}

RT_SECTION void inverseColumns(const TransformTables& tables, const ColumnSteps& steps, float* work,
                               const BlockTarget& target) noexcept {
    Pass pass{tables.rowCount, 1, tables.twiddles, 0, 0};
    for (std::size_t p = 0, span = tables.rowCount; p < tables.passCount; ++p) {
        span /= tables.radices[p];
        pass.twiddles += (tables.radices[p] - 1U) * span * rowFloats;
    }
    for (std::size_t p = tables.passCount; p-- > 0;) {
        const std::size_t radix = tables.radices[p];
        pass.twiddles -= (radix - 1) * pass.span * rowFloats;
        pass.span *= radix;
        if (!takePart(steps, (tables.passCount - 1 - p) * tables.rowCount, pass)) {
            continue;
        }
        if (p == 0 && target.blockFrames == tables.rowCount * lanes) {
            lastPassBackFull(radix, pass, tables.weights, work, target);
        } else if (p == 0) {
            lastPassBack(radix, pass, tables.weights, work, target);
        } else {
            middlePassBack(radix, pass, work);
        }
    }
}

RT_SECTION void forwardLanes(const float* work, std::size_t rowCount, float* spectrum,
                             std::size_t strideFloats) noexcept {
    for (std::size_t row = 0; row < rowCount; ++row) {
        storeRow(spectrum + row * strideFloats, forwardLanes(loadRow(work + row * rowFloats)));
    }
}

} // namespace
} // namespace tovix
