#pragma once

#include <cstddef>
#include <cstdint>

namespace tovix {

// The inner loops of RightAngleConvolver, one set per instruction set, all compiled from the same source (vector/).
//
// A *row* is one vector of complex points: `lanes` real parts, then `lanes` imaginary ones. Rows and tables are
// aligned to their vectors; blocks of samples need not be.

/// The tables of a transform of `rowCount` * `lanes` points; see RightAngleTransform, which owns them.
struct TransformTables {
    std::size_t rowCount;
    std::size_t passCount;
    /// The factors of `rowCount`, in the order of the passes; 1 where there is one row.
    const std::uint8_t* radices;
    /// One row for each of the points: e^(i * pi * n / 2N).
    const float* weights;
    /// The twiddle rows of one pass after the other.
    const float* twiddles;
};

/// A part of the passes down or up the columns, in rows of one pass after the other: `rowCount` for each pass. Parts
/// that follow each other do the same as all at once.
struct ColumnSteps {
    std::size_t first;
    std::size_t last;
};

/// Where a transform's first pass finds the samples of a block, row by row of `lanes`.
struct BlockSource {
    const float* samples;
    /// Rows that the block fills; those from here on are taken from `rest`.
    std::size_t fullRows;
    const float* rest;
};

/// Where an inverse transform's last pass puts a block, and its second half until the next block.
struct BlockTarget {
    float* samples;
    /// Rows that the block fills; those from here on go to `rest`.
    std::size_t fullRows;
    float* rest;
    /// What the block before has left, and what this one leaves. Both may be used from `lanes` floats before them
    /// to 2N - B floats after them; where B = N they may be the same.
    const float* overlapBefore;
    float* overlap;
    /// B, at most N.
    std::size_t blockFrames;
};

/// The spectra of one or two channels on their way through the filter. Partition k of row r of the filter is row
/// r * partitionCount + k; the input spectrum in slot s is at (r * partitionCount + s) * channelCount, one row for
/// each channel, and the one that came k blocks before the newest is in slot (newest + k) mod partitionCount.
struct SpectrumSums {
    std::size_t rowCount;
    std::size_t partitionCount;
    std::size_t channelCount;
    const float* filter;
    float* inputs;
    std::size_t newestSlot;
    /// Blocks per tile: in one block of each `tile` a row computes its sums as far as the inputs are known for all
    /// of them, and in the others adds what is missing. At least 1; `partitionCount` is not below it.
    std::size_t tile;
    /// The block's number modulo `tile`. The rows take turns, so that all blocks cost the same.
    std::size_t phase;
    /// For each row, `tile` - 1 times a row for each channel: what is known of the sums of the blocks to come.
    float* known;
    /// For each channel the rows that the forward columns left; the rows for the inverse columns on return.
    float* work[2];
};

/// The spectra of one or two channels in a convolver that spreads the work of a long block (see TailConvolver), laid
/// out as those of SpectrumSums. `newestSlot` is that of the long block whose transforms are under way.
struct TailSums {
    std::size_t rowCount;
    std::size_t partitionCount;
    std::size_t channelCount;
    const float* filter;
    float* inputs;
    std::size_t newestSlot;
    /// Long blocks per tile: in one of each `tile` a row computes the sums of the `tile` blocks after it, as far as
    /// the inputs before the newest go.
    std::size_t tile;
    /// The long block's number modulo `tile`, and modulo `tile` + 1.
    std::size_t phase;
    std::size_t knownSlot;
    /// For each row and each of `tile` + 1 blocks, in the slot of its number, a row for each channel: what is known
    /// of its sum.
    float* known;
    /// For each channel the rows that the forward columns left; the rows for the inverse columns once they are done.
    float* work[2];
};

/// Every function is [audio].
struct VectorLoops {
    /// Floats per vector.
    std::size_t lanes;
    /// The longest tile that the registers have room for.
    std::size_t longestTile;
    /// 8, or 6 where 8 rows and what is computed of them are more than the registers hold.
    std::size_t largestRadix;

    /// Transforms a block down the columns, into `work`, one row for each of the transform's. A sample that is not
    /// finite counts as 0.
    void (*forwardColumns)(const TransformTables& tables, const ColumnSteps& steps, const BlockSource& source,
                           float* work) noexcept;
    /// Transforms each row across its lanes, which completes the spectrum: row r of `work` to `spectrum` +
    /// r * `strideFloats`.
    void (*forwardLanes)(const float* work, std::size_t rowCount, float* spectrum, std::size_t strideFloats) noexcept;
    /// Completes the newest input spectra, stores them in their slots, sums all partitions' products, and transforms
    /// the sums across the lanes.
    void (*multiplySpectra)(const SpectrumSums& sums) noexcept;
    /// Sums what is known of the sums of the long blocks to come: of the rows whose turn it is, one after the other,
    /// the products of `partitionCount` - 2 inputs each, those from number `first` up to but excluding `last`.
    void (*sumTail)(const TailSums& sums, std::size_t first, std::size_t last) noexcept;
    /// Does for some rows what is left of the newest block's sums: completes and stores its spectra, adds the latest
    /// inputs' products to what is known, and transforms the sums across the lanes.
    void (*finishTail)(const TailSums& sums, std::size_t firstRow, std::size_t lastRow) noexcept;
    /// Transforms `work` back up the columns and adds the overlap. The rows hold the parts exchanged, imaginary
    /// before real, so that the twiddles of the way forward turn the other way round.
    void (*inverseColumns)(const TransformTables& tables, const ColumnSteps& steps, float* work,
                           const BlockTarget& target) noexcept;
    /// sum[i] += samples[i]
    void (*add)(const float* samples, float* sum, std::size_t count) noexcept;

    /// Sums of samples times `re` and `im`, taking samples that are not finite as 0.
    void (*dot)(const float* samples, const float* re, const float* im, std::size_t count, float sum[2]) noexcept;
    /// Adds `count` complex products of a and b, all in split form, to `sum`.
    void (*complexDot)(const float* const a[2], const float* const b[2], std::size_t count, float sum[2]) noexcept;
    /// samples[i] -= factor[0] * re[i] - factor[1] * im[i]
    void (*subtractTone)(float* samples, const float* re, const float* im, std::size_t count,
                         const float factor[2]) noexcept;
};

/// AVX2 and FMA.
extern const VectorLoops avx2Loops;
/// AVX-512 F, VL and DQ.
extern const VectorLoops avx512Loops;

} // namespace tovix
