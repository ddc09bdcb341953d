// The loops for single bins of a spectrum, which are computed by definition.
#pragma once

#include "convolution/vector/Rows.inl"

namespace tovix {
namespace {

[[gnu::always_inline]] inline float total(Vector v) noexcept {
    alignas(64) float parts[lanes];
    store(parts, v);
    float sum = 0.0F;
    for (std::size_t lane = 0; lane < lanes; ++lane) {
        sum += parts[lane];
    }
    return sum;
}

/// The last, incomplete vector, filled up with zeros.
[[gnu::always_inline]] inline Vector loadSome(const float* p, std::size_t count) noexcept {
    alignas(64) float parts[lanes]{};
    for (std::size_t lane = 0; lane < count; ++lane) {
        parts[lane] = p[lane];
    }
    return load(parts);
}

RT_SECTION void dot(const float* samples, const float* re, const float* im, std::size_t count,
                    float sum[2]) noexcept {
    Row sums{};
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        const Vector x = finiteOrZero(loadAnywhere(samples + i));
        sums = {multiplyAdd(x, load(re + i), sums.re), multiplyAdd(x, load(im + i), sums.im)};
    }
    const Vector x = finiteOrZero(loadSome(samples + i, count - i));
    sums = {multiplyAdd(x, loadSome(re + i, count - i), sums.re),
            multiplyAdd(x, loadSome(im + i, count - i), sums.im)};
    sum[0] = total(sums.re);
    sum[1] = total(sums.im);
}

RT_SECTION void complexDot(const float* const a[2], const float* const b[2], std::size_t count,
                           float sum[2]) noexcept {
    Row sums{};
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        const Row product =
            times({loadAnywhere(a[0] + i), loadAnywhere(a[1] + i)}, {loadAnywhere(b[0] + i), loadAnywhere(b[1] + i)});
        sums = plus(sums, product);
    }
    const std::size_t left = count - i;
    sums = plus(sums, times({loadSome(a[0] + i, left), loadSome(a[1] + i, left)},
                            {loadSome(b[0] + i, left), loadSome(b[1] + i, left)}));
    sum[0] += total(sums.re);
    sum[1] += total(sums.im);
}

RT_SECTION void subtractTone(float* samples, const float* re, const float* im, std::size_t count,
                             const float factor[2]) noexcept {
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        const Vector x = subtractProduct(loadAnywhere(samples + i), all(factor[0]), load(re + i));
        storeAnywhere(samples + i, multiplyAdd(all(factor[1]), load(im + i), x));
    }
    for (; i < count; ++i) {
        samples[i] -= factor[0] * re[i] - factor[1] * im[i];
    }
}

} // namespace
} // namespace tovix
