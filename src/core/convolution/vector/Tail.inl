// The sums of long blocks whose work is spread: what is known of them beforehand, cut anywhere, and the rest.
#pragma once

#include "convolution/vector/Sums.inl"

namespace tovix {
namespace {

/// The latest inputs, which are left out of what is known of the next block's sum: the newest, whose spectrum is not
/// complete then, and the one to come.
constexpr std::size_t latestInputs = 2;

/// Where row `row` of a tail has what is known of the sum of the block whose number is `slot` modulo `tile` + 1.
template <std::size_t channels, std::size_t tile>
[[gnu::always_inline]] inline float* knownOf(const TailSums& task, std::size_t row, std::size_t slot) noexcept {
    return task.known + (row * (tile + 1) + slot) * channels * rowFloats;
}

[[gnu::always_inline]] inline std::size_t wrapped(std::size_t number, std::size_t count) noexcept {
    return number < count ? number : number - count;
}

/// Adds one input to the sums of the first `live` blocks, at most `most`.
template <std::size_t most, std::size_t channels, std::size_t tile>
[[gnu::always_inline]] inline void addToFirst(RowSums<channels, tile>& sums, std::size_t live, const float* filter,
                                              const float* input) noexcept {
    if constexpr (most > 0) {
        if (live == most) {
            sums.template add<most>(filter, input, 1);
        } else {
            addToFirst<most - 1>(sums, live, filter, input);
        }
    }
}

/// Adds the inputs from `first` up to `last`, counted from the last one before the newest, to what is known of one
/// row.
template <std::size_t channels, std::size_t tile>
[[gnu::always_inline]] inline void sumKnown(const TailSums& task, std::size_t row, std::size_t first,
                                            std::size_t last) noexcept {
    const std::size_t ringCount = task.partitionCount;
    const float* const filter = task.filter + (row * ringCount + latestInputs) * rowFloats;
    const float* const ring = task.inputs + row * ringCount * channels * rowFloats;
    float* known[tile];
    RowSums<channels, tile> sums{};
#pragma GCC unroll 4
    for (std::size_t block = 0; block < tile; ++block) {
        known[block] = knownOf<channels, tile>(task, row, wrapped(task.knownSlot + 1 + block, tile + 1));
        if (first > 0) {
#pragma GCC unroll 2
            for (std::size_t c = 0; c < channels; ++c) {
                sums.sums[block][c].direct = loadRow(known[block] + c * rowFloats);
            }
        }
    }
    const std::size_t common = ringCount - latestInputs - (tile - 1);
    const std::size_t lastCommon = last < common ? last : common;
    // A cut may lie among the last inputs too, of which the later blocks have none.
    std::size_t slot = wrapped(task.newestSlot + 1 + first, ringCount);
    std::size_t input = first;
    while (input < lastCommon) {
        const std::size_t count = lastCommon - input < ringCount - slot ? lastCommon - input : ringCount - slot;
        addLong(sums, filter + input * rowFloats, ring + slot * channels * rowFloats, count);
        input += count;
        slot = wrapped(slot + count, ringCount);
    }
    for (; input < last; ++input, slot = wrapped(slot + 1, ringCount)) {
        addToFirst<tile - 1>(sums, tile - 1 - (input - common), filter + input * rowFloats,
                             ring + slot * channels * rowFloats);
    }
#pragma GCC unroll 4
    for (std::size_t block = 0; block < tile; ++block) {
#pragma GCC unroll 2
        for (std::size_t c = 0; c < channels; ++c) {
            storeRow(known[block] + c * rowFloats, sums.sums[block][c].total());
        }
    }
}

template <std::size_t channels, std::size_t tile>
[[gnu::always_inline]] inline void sumTailRows(const TailSums& task, std::size_t first, std::size_t last) noexcept {
    const std::size_t inputs = task.partitionCount - latestInputs;
    const std::size_t turn = first / inputs;
    std::size_t row = wrapped(tile - task.phase, tile) + turn * tile;
    std::size_t begin = first - turn * inputs;
    while (first < last) {
        const std::size_t end = last - first < inputs - begin ? begin + (last - first) : inputs;
        sumKnown<channels, tile>(task, row, begin, end);
        first += end - begin;
        begin = 0;
        row += tile;
    }
}

template <std::size_t channels, std::size_t tile>
[[gnu::always_inline]] inline void finishTailRows(const TailSums& task, std::size_t row,
                                                  std::size_t lastRow) noexcept {
    const std::size_t ringCount = task.partitionCount;
    // Blocks since the row had its turn, less one.
    std::size_t age = (row + task.phase + tile - 1) % tile;
    for (; row < lastRow; ++row) {
        const float* const filter = task.filter + row * ringCount * rowFloats;
        float* const ring = task.inputs + row * ringCount * channels * rowFloats;
        const float* const known = knownOf<channels, tile>(task, row, task.knownSlot);
        RowSums<channels, 4> sums{};
#pragma GCC unroll 2
        for (std::size_t c = 0; c < channels; ++c) {
            storeRow(ring + (task.newestSlot * channels + c) * rowFloats,
                     forwardLanes(loadRow(task.work[c] + row * rowFloats)));
            sums.sums[0][c].direct = loadRow(known + c * rowFloats);
        }
        for (std::size_t input = 0; input < latestInputs + age; ++input) {
            const std::size_t slot = wrapped(task.newestSlot + input, ringCount);
            sums.template add<1>(filter + input * rowFloats, ring + slot * channels * rowFloats, 1);
        }
#pragma GCC unroll 2
        for (std::size_t c = 0; c < channels; ++c) {
            const Row result = sums.sums[0][c].total();
            storeRow(task.work[c] + row * rowFloats, inverseLanes({result.im, result.re}));
        }
        age = age + 1 < tile ? age + 1 : 0;
    }
}

/// Calls `run` with the channels and the tile as constants.
template <std::size_t tile = longestTile, class Run>
[[gnu::always_inline]] inline void withShape(const TailSums& task, Run run) noexcept {
    if constexpr (tile > 1) {
        if (task.tile < tile) {
            return withShape<tile - 1>(task, run);
        }
    }
    if (task.channelCount == 2) {
        run.template operator()<2, tile>();
    } else {
        run.template operator()<1, tile>();
    }
}

RT_SECTION void sumTail(const TailSums& task, std::size_t first, std::size_t last) noexcept {
    withShape(task, [&]<std::size_t channels, std::size_t tile>()
                        ALWAYS_INLINE { sumTailRows<channels, tile>(task, first, last); });
}

RT_SECTION void finishTail(const TailSums& task, std::size_t firstRow, std::size_t lastRow) noexcept {
    withShape(task, [&]<std::size_t channels, std::size_t tile>()
                        ALWAYS_INLINE { finishTailRows<channels, tile>(task, firstRow, lastRow); });
}

RT_SECTION void add(const float* samples, float* sum, std::size_t count) noexcept {
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        storeAnywhere(sum + i, loadAnywhere(sum + i) + loadAnywhere(samples + i));
    }
    storeFirst(sum + i, loadFirst(sum + i, count - i) + loadFirst(samples + i, count - i), count - i);
}

} // namespace
} // namespace tovix
