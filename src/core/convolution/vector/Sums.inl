// The sums over all partitions, in registers, with one load of the filter for two channels.
#pragma once

#include "convolution/vector/Lanes.inl"

namespace tovix {
namespace {

/// A sum of products of rows. Where few sums run side by side the four products are summed on their own, so that the
/// multipliers do not wait for each other.
template <bool apart> struct Sum {
    Row direct;

    [[gnu::always_inline]] void add(Row a, Row b) noexcept {
        direct.re = multiplyAdd(a.re, b.re, direct.re);
        direct.im = multiplyAdd(a.re, b.im, direct.im);
        direct.re = subtractProduct(direct.re, a.im, b.im);
        direct.im = multiplyAdd(a.im, b.re, direct.im);
    }
    [[nodiscard, gnu::always_inline]] Row total() const noexcept { return direct; }
};

/// Longer sums are summed in parts of so many products, which keeps their rounding errors small.
constexpr std::size_t longestSum = 128;

template <> struct Sum<true> {
    Row direct;
    Row crossed;

    [[gnu::always_inline]] void add(Row a, Row b) noexcept {
        direct.re = multiplyAdd(a.re, b.re, direct.re);
        direct.im = multiplyAdd(a.re, b.im, direct.im);
        crossed.re = multiplyAdd(a.im, b.im, crossed.re);
        crossed.im = multiplyAdd(a.im, b.re, crossed.im);
    }
    [[nodiscard, gnu::always_inline]] Row total() const noexcept {
        return {direct.re - crossed.re, direct.im + crossed.im};
    }
};

/// The sums of one row for the blocks of a tile.
template <std::size_t channels, std::size_t tile> struct RowSums {
    static constexpr bool apart = channels * tile < 4;
    Sum<apart> sums[tile][channels];

    /// Adds `count` inputs, one after the other, to the sums of the first `live` blocks. The products of a block's
    /// sum begin one partition later than those of the block before.
    template <std::size_t live>
    [[gnu::always_inline]] void add(const float* filter, const float* inputs, std::size_t count) noexcept {
        for (std::size_t i = 0; i < count; ++i) {
            Row x[channels];
#pragma GCC unroll 2
            for (std::size_t c = 0; c < channels; ++c) {
                x[c] = loadRow(inputs + c * rowFloats);
            }
#pragma GCC unroll 4
            for (std::size_t block = 0; block < live; ++block) {
                const Row h = loadRow(filter + block * rowFloats);
#pragma GCC unroll 2
                for (std::size_t c = 0; c < channels; ++c) {
                    sums[block][c].add(x[c], h);
                }
            }
            filter += rowFloats;
            inputs += channels * rowFloats;
        }
    }
};

/// All sums' parts, while the registers hold the sums of the latest products.
template <std::size_t channels, std::size_t tile>
[[gnu::always_inline]] inline void addLong(RowSums<channels, tile>& sums, const float* filter, const float* inputs,
                                           std::size_t count) noexcept {
    while (count > longestSum) {
        RowSums<channels, tile> part{};
        part.template add<tile>(filter, inputs, longestSum);
#pragma GCC unroll 4
        for (std::size_t block = 0; block < tile; ++block) {
#pragma GCC unroll 2
            for (std::size_t c = 0; c < channels; ++c) {
                sums.sums[block][c].direct = plus(sums.sums[block][c].direct, part.sums[block][c].total());
            }
        }
        filter += longestSum * rowFloats;
        inputs += longestSum * channels * rowFloats;
        count -= longestSum;
    }
    sums.template add<tile>(filter, inputs, count);
}

/// The last partitions, of which the later blocks have none: one input for each number of blocks from `live` down.
template <std::size_t live, std::size_t channels, std::size_t tile>
[[gnu::always_inline]] inline void addLast(RowSums<channels, tile>& sums, const float* filter, const float* ring,
                                           std::size_t partition, const SpectrumSums& task) noexcept {
    if constexpr (live > 0) {
        const std::size_t beyond = task.newestSlot + partition;
        const std::size_t slot = beyond < task.partitionCount ? beyond : beyond - task.partitionCount;
        sums.template add<live>(filter + partition * rowFloats, ring + slot * channels * rowFloats, 1);
        addLast<live - 1>(sums, filter, ring, partition + 1, task);
    }
}

/// All that is known of the sums of a tile's blocks; those of the blocks to come go to `known`.
template <std::size_t channels, std::size_t tile>
[[gnu::always_inline]] inline void sumTile(const SpectrumSums& task, const float* filter, const float* ring,
                                           float* known, Row* result) noexcept {
    RowSums<channels, tile> sums{};
    const std::size_t common = task.partitionCount - (tile - 1);
    const std::size_t toEnd = task.partitionCount - task.newestSlot;
    const std::size_t first = common < toEnd ? common : toEnd;
    addLong(sums, filter, ring + task.newestSlot * channels * rowFloats, first);
    addLong(sums, filter + first * rowFloats, ring, common - first);
    addLast<tile - 1>(sums, filter, ring, common, task);
#pragma GCC unroll 2
    for (std::size_t c = 0; c < channels; ++c) {
        result[c] = sums.sums[0][c].total();
#pragma GCC unroll 4
        for (std::size_t block = 1; block < tile; ++block) {
            storeRow(known + ((block - 1) * channels + c) * rowFloats, sums.sums[block][c].total());
        }
    }
}

/// What is known of this block's sum, and the products of the `age` inputs that have come since.
template <std::size_t channels>
[[gnu::always_inline]] inline void sumRest(const SpectrumSums& task, const float* filter, const float* ring,
                                           const float* known, std::size_t age, Row* result) noexcept {
    RowSums<channels, 4> sums{};
#pragma GCC unroll 2
    for (std::size_t c = 0; c < channels; ++c) {
        sums.sums[0][c].direct = loadRow(known + ((age - 1) * channels + c) * rowFloats);
    }
    for (std::size_t partition = 0; partition < age; ++partition) {
        const std::size_t beyond = task.newestSlot + partition;
        const std::size_t slot = beyond < task.partitionCount ? beyond : beyond - task.partitionCount;
        sums.template add<1>(filter + partition * rowFloats, ring + slot * channels * rowFloats, 1);
    }
#pragma GCC unroll 2
    for (std::size_t c = 0; c < channels; ++c) {
        result[c] = sums.sums[0][c].total();
    }
}

template <std::size_t channels, std::size_t tile>
[[gnu::always_inline]] inline void multiplyRows(const SpectrumSums& task) noexcept {
    const std::size_t filterFloats = task.partitionCount * rowFloats;
    const float* filter = task.filter;
    float* ring = task.inputs;
    float* known = task.known;
    std::size_t age = task.phase;
    for (std::size_t row = 0; row < task.rowCount; ++row) {
        Row result[channels];
#pragma GCC unroll 2
        for (std::size_t c = 0; c < channels; ++c) {
            const Row newest = forwardLanes(loadRow(task.work[c] + row * rowFloats));
            storeRow(ring + (task.newestSlot * channels + c) * rowFloats, newest);
        }
        if (age == 0) {
            sumTile<channels, tile>(task, filter, ring, known, result);
        } else {
            sumRest<channels>(task, filter, ring, known, age, result);
        }
#pragma GCC unroll 2
        for (std::size_t c = 0; c < channels; ++c) {
            storeRow(task.work[c] + row * rowFloats, inverseLanes({result[c].im, result[c].re}));
        }
        age = age + 1 < tile ? age + 1 : 0;
        filter += filterFloats;
        ring += channels * filterFloats;
        known += (tile - 1) * channels * rowFloats;
    }
}

template <std::size_t tile> [[gnu::always_inline]] inline void multiplyTiled(const SpectrumSums& task) noexcept {
    if (task.channelCount == 2) {
        multiplyRows<2, tile>(task);
    } else {
        multiplyRows<1, tile>(task);
    }
}

template <std::size_t longest> [[gnu::always_inline]] inline void multiplyUpTo(const SpectrumSums& task) noexcept {
    if constexpr (longest > 1) {
        if (task.tile < longest) {
            return multiplyUpTo<longest - 1>(task);
        }
    }
    multiplyTiled<longest>(task);
}

RT_SECTION void multiplySpectra(const SpectrumSums& task) noexcept {
    multiplyUpTo<longestTile>(task);
}

} // namespace
} // namespace tovix
