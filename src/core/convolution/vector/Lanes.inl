// The passes across the lanes of one row: a transform of as many points as a vector has, radix 2, its results in
// bit-reversed order.
#pragma once

#include "convolution/vector/Rows.inl"

namespace tovix {
namespace {

/// What the lanes need in the pass that combines lanes at one distance.
struct LanePass {
    /// 1 in the lower lane of a pair, -1 in the upper.
    alignas(64) float sign[lanes];
    /// e^(-i...) in the upper lane, 1 in the lower.
    alignas(64) float turnRe[lanes];
    alignas(64) float turnIm[lanes];
};

constexpr LanePass lanePass(std::size_t distance) noexcept {
    // cos(2 * pi * n / 16)
    constexpr float cosines[]{1.0F, 0.923879532511286756F,  0.707106781186547524F,  0.382683432365089772F,
                              0.0F, -0.382683432365089772F, -0.707106781186547524F, -0.923879532511286756F};
    LanePass pass{};
    for (std::size_t lane = 0; lane < lanes; ++lane) {
        const bool upper = (lane & distance) != 0;
        const std::size_t sixteenths = upper ? lane % distance * (8 / distance) : 0;
        pass.sign[lane] = upper ? -1.0F : 1.0F;
        pass.turnRe[lane] = cosines[sixteenths];
        // -sin(t) = cos(t + pi / 2), and half a turn further on all is negative.
        pass.turnIm[lane] = sixteenths < 4 ? cosines[sixteenths + 4] : -cosines[sixteenths - 4];
    }
    return pass;
}

constexpr LanePass lanePasses[]{lanePass(1), lanePass(2), lanePass(4), lanePass(8 < lanes ? 8 : 1)};

template <std::size_t distance> [[gnu::always_inline]] inline const LanePass& tablesAt() noexcept {
    return lanePasses[distance == 1 ? 0 : distance == 2 ? 1 : distance == 4 ? 2 : 3];
}

template <std::size_t distance> [[gnu::always_inline]] inline Row pairwise(Row a) noexcept {
    const Vector sign = load(tablesAt<distance>().sign);
    return {multiplyAdd(a.re, sign, exchanged<distance>(a.re)), multiplyAdd(a.im, sign, exchanged<distance>(a.im))};
}

template <std::size_t distance> [[gnu::always_inline]] inline Row turned(Row a) noexcept {
    return times(a, {load(tablesAt<distance>().turnRe), load(tablesAt<distance>().turnIm)});
}

template <std::size_t distance = lanes / 2> [[gnu::always_inline]] inline Row forwardLanes(Row a) noexcept {
    if constexpr (distance == 1) {
        return pairwise<1>(a);
    } else {
        return forwardLanes<distance / 2>(turned<distance>(pairwise<distance>(a)));
    }
}

/// The same passes the other way round. Backwards it is a transform with e^(-i...) too: the inverse comes from
/// exchanging the parts.
template <std::size_t distance = 1> [[gnu::always_inline]] inline Row inverseLanes(Row a) noexcept {
    if constexpr (distance == 1) {
        return inverseLanes<2>(pairwise<1>(a));
    } else if constexpr (distance < lanes) {
        return inverseLanes<2 * distance>(pairwise<distance>(turned<distance>(a)));
    } else {
        return a;
    }
}

} // namespace
} // namespace tovix
