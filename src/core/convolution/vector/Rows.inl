// Rows of complex points and the butterflies on them. Needs the vector type and its functions, which the including
// file defines.
#pragma once

namespace tovix {
namespace {

constexpr std::size_t rowFloats = 2 * lanes;

struct Row {
    Vector re;
    Vector im;
};

[[gnu::always_inline]] inline Row loadRow(const float* p) noexcept {
    return {load(p), load(p + lanes)};
}
[[gnu::always_inline]] inline void storeRow(float* p, Row a) noexcept {
    store(p, a.re);
    store(p + lanes, a.im);
}
[[gnu::always_inline]] inline Row plus(Row a, Row b) noexcept {
    return {a.re + b.re, a.im + b.im};
}
[[gnu::always_inline]] inline Row minus(Row a, Row b) noexcept {
    return {a.re - b.re, a.im - b.im};
}
[[gnu::always_inline]] inline Row times(Row a, Row b) noexcept {
    return {subtractProduct(a.re * b.re, a.im, b.im), multiplyAdd(a.re, b.im, a.im * b.re)};
}
/// a + i * b and a - i * b.
[[gnu::always_inline]] inline Row plusTurned(Row a, Row b) noexcept {
    return {a.re - b.im, a.im + b.re};
}
[[gnu::always_inline]] inline Row minusTurned(Row a, Row b) noexcept {
    return {a.re + b.im, a.im - b.re};
}
/// a + factor * b.
[[gnu::always_inline]] inline Row plusScaled(Row a, float factor, Row b) noexcept {
    return {multiplyAdd(all(factor), b.re, a.re), multiplyAdd(all(factor), b.im, a.im)};
}
[[gnu::always_inline]] inline Row scaled(float factor, Row a) noexcept {
    return {all(factor) * a.re, all(factor) * a.im};
}

/// Fourier transforms of `radix` points in place, with e^(-i...), in natural order.
template <std::size_t radix> [[gnu::always_inline]] inline void transform(Row* x) noexcept {
    static_assert((radix >= 1 && radix <= 6) || radix == 8);
    if constexpr (radix == 2) {
        const Row difference = minus(x[0], x[1]);
        x[0] = plus(x[0], x[1]);
        x[1] = difference;
    } else if constexpr (radix == 3) {
        constexpr float sine = 0.866025403784438647F;
        const Row sum = plus(x[1], x[2]);
        const Row difference = scaled(sine, minus(x[1], x[2]));
        const Row middle = plusScaled(x[0], -0.5F, sum);
        x[0] = plus(x[0], sum);
        x[1] = minusTurned(middle, difference);
        x[2] = plusTurned(middle, difference);
    } else if constexpr (radix == 4) {
        const Row evenSum = plus(x[0], x[2]);
        const Row evenDifference = minus(x[0], x[2]);
        const Row oddSum = plus(x[1], x[3]);
        const Row oddDifference = minus(x[1], x[3]);
        x[0] = plus(evenSum, oddSum);
        x[1] = minusTurned(evenDifference, oddDifference);
        x[2] = minus(evenSum, oddSum);
        x[3] = plusTurned(evenDifference, oddDifference);
    } else if constexpr (radix == 5) {
        constexpr float cosine1 = 0.309016994374947424F;
        constexpr float cosine2 = -0.809016994374947424F;
        constexpr float sine1 = 0.951056516295153572F;
        constexpr float sine2 = 0.587785252292473129F;
        const Row outerSum = plus(x[1], x[4]);
        const Row outerDifference = minus(x[1], x[4]);
        const Row innerSum = plus(x[2], x[3]);
        const Row innerDifference = minus(x[2], x[3]);
        const Row middle1 = plusScaled(plusScaled(x[0], cosine1, outerSum), cosine2, innerSum);
        const Row middle2 = plusScaled(plusScaled(x[0], cosine2, outerSum), cosine1, innerSum);
        const Row turned1 = plusScaled(scaled(sine1, outerDifference), sine2, innerDifference);
        const Row turned2 = plusScaled(scaled(sine2, outerDifference), -sine1, innerDifference);
        x[0] = plus(x[0], plus(outerSum, innerSum));
        x[1] = minusTurned(middle1, turned1);
        x[2] = minusTurned(middle2, turned2);
        x[3] = plusTurned(middle2, turned2);
        x[4] = plusTurned(middle1, turned1);
    } else if constexpr (radix == 6) {
        // Two and three have no common factor: no twiddles between them.
        Row even[]{plus(x[0], x[3]), plus(x[2], x[5]), plus(x[4], x[1])};
        Row odd[]{minus(x[0], x[3]), minus(x[2], x[5]), minus(x[4], x[1])};
        transform<3>(even);
        transform<3>(odd);
        x[0] = even[0];
        x[1] = odd[1];
        x[2] = even[2];
        x[3] = odd[0];
        x[4] = even[1];
        x[5] = odd[2];
    } else if constexpr (radix == 8) {
        constexpr float diagonal = 0.707106781186547524F;
        Row even[]{x[0], x[2], x[4], x[6]};
        Row odd[]{x[1], x[3], x[5], x[7]};
        transform<4>(even);
        transform<4>(odd);
        // Turned by an eighth and by three eighths, but for the factor.
        const Row one{odd[1].re + odd[1].im, odd[1].im - odd[1].re};
        const Row three{odd[3].im - odd[3].re, -odd[3].re - odd[3].im};
        x[0] = plus(even[0], odd[0]);
        x[1] = plusScaled(even[1], diagonal, one);
        x[2] = minusTurned(even[2], odd[2]);
        x[3] = plusScaled(even[3], diagonal, three);
        x[4] = minus(even[0], odd[0]);
        x[5] = plusScaled(even[1], -diagonal, one);
        x[6] = plusTurned(even[2], odd[2]);
        x[7] = plusScaled(even[3], -diagonal, three);
    }
}

} // namespace
} // namespace tovix
