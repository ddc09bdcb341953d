// The loops for single bins of a spectrum, which are computed by definition.
#pragma once

#include "convolution/vector/Rows.inl"

namespace tovix {
namespace {

/// The sum of all lanes.
template <std::size_t distance = lanes / 2> [[gnu::always_inline]] inline float total(Vector v) noexcept {
    if constexpr (distance == 0) {
        return v[0];
    } else {
        return total<distance / 2>(v + exchanged<distance>(v));
    }
}

RT_SECTION void dot(const float* samples, const float* re, const float* im, std::size_t count,
                    float sum[2]) noexcept {
    Row sums{};
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        const Vector x = finiteOrZero(loadAnywhere(samples + i));
        sums = {multiplyAdd(x, load(re + i), sums.re), multiplyAdd(x, load(im + i), sums.im)};
    }
    const Vector x = finiteOrZero(loadFirst(samples + i, count - i));
    sum[0] = total(multiplyAdd(x, loadFirst(re + i, count - i), sums.re));
    sum[1] = total(multiplyAdd(x, loadFirst(im + i, count - i), sums.im));
}

RT_SECTION void complexDot(const float* const a[2], const float* const b[2], std::size_t count,
                           float sum[2]) noexcept {
    Row direct{};
    Row crossed{};
    for (std::size_t i = 0; i < count; i += lanes) {
        const std::size_t some = count - i < lanes ? count - i : lanes;
        const Row x{loadFirst(a[0] + i, some), loadFirst(a[1] + i, some)};
        const Row y{loadFirst(b[0] + i, some), loadFirst(b[1] + i, some)};
        direct = {multiplyAdd(x.re, y.re, direct.re), multiplyAdd(x.re, y.im, direct.im)};
        crossed = {multiplyAdd(x.im, y.im, crossed.re), multiplyAdd(x.im, y.re, crossed.im)};
    }
    sum[0] += total(direct.re - crossed.re);
    sum[1] += total(direct.im + crossed.im);
}

RT_SECTION void subtractTone(float* samples, const float* re, const float* im, std::size_t count,
                             const float factor[2]) noexcept {
    for (std::size_t i = 0; i < count; i += lanes) {
        const std::size_t some = count - i < lanes ? count - i : lanes;
        const Vector x = subtractProduct(loadFirst(samples + i, some), all(factor[0]), loadFirst(re + i, some));
        storeFirst(samples + i, multiplyAdd(all(factor[1]), loadFirst(im + i, some), x), some);
    }
}

} // namespace
} // namespace tovix
