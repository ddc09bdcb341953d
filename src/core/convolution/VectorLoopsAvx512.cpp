// Compiled for AVX-512 F, VL and DQ. Nothing but what stands here and in vector/ may be compiled into this file: an
// inline function of another header could become the one copy of it that the whole program runs.

#include "convolution/VectorLoops.h"
#include "memory/RtSection.h"

#include <immintrin.h>

namespace tovix {
namespace {

using Vector = __m512;
constexpr std::size_t lanes = 16;
constexpr std::size_t largestRadix = 8;
constexpr std::size_t longestTile = 4;

[[gnu::always_inline]] inline Vector load(const float* p) noexcept {
    return _mm512_load_ps(p);
}
[[gnu::always_inline]] inline Vector loadAnywhere(const float* p) noexcept {
    return _mm512_loadu_ps(p);
}
[[gnu::always_inline]] inline void store(float* p, Vector v) noexcept {
    _mm512_store_ps(p, v);
}
[[gnu::always_inline]] inline void storeAnywhere(float* p, Vector v) noexcept {
    _mm512_storeu_ps(p, v);
}
[[gnu::always_inline]] inline Vector all(float value) noexcept {
    return _mm512_set1_ps(value);
}
/// a * b + c, rounded once.
[[gnu::always_inline]] inline Vector multiplyAdd(Vector a, Vector b, Vector c) noexcept {
    return _mm512_fmadd_ps(a, b, c);
}
/// c - a * b, rounded once.
[[gnu::always_inline]] inline Vector subtractProduct(Vector c, Vector a, Vector b) noexcept {
    return _mm512_fnmadd_ps(a, b, c);
}
[[gnu::always_inline]] inline Vector finiteOrZero(Vector v) noexcept {
    const __m512i magnitude = _mm512_and_si512(_mm512_castps_si512(v), _mm512_set1_epi32(0x7FFFFFFF));
    return _mm512_maskz_mov_ps(_mm512_cmplt_epi32_mask(magnitude, _mm512_set1_epi32(0x7F800000)), v);
}
/// The first `count` floats, then zeros; and back.
[[gnu::always_inline]] inline Vector loadFirst(const float* p, std::size_t count) noexcept {
    return _mm512_maskz_loadu_ps(static_cast<__mmask16>((1U << count) - 1), p);
}
[[gnu::always_inline]] inline void storeFirst(float* p, Vector v, std::size_t count) noexcept {
    _mm512_mask_storeu_ps(p, static_cast<__mmask16>((1U << count) - 1), v);
}
/// Lane l gets what lane l xor `distance` has.
template <std::size_t distance> [[gnu::always_inline]] inline Vector exchanged(Vector v) noexcept {
    if constexpr (distance == 8) {
        return _mm512_shuffle_f32x4(v, v, 0x4E);
    } else if constexpr (distance == 4) {
        return _mm512_shuffle_f32x4(v, v, 0xB1);
    } else {
        return _mm512_permute_ps(v, distance == 2 ? 0x4E : 0xB1);
    }
}

} // namespace
} // namespace tovix

#include "convolution/vector/Columns.inl"
#include "convolution/vector/Gap.inl"
#include "convolution/vector/Sums.inl"
#include "convolution/vector/Tail.inl"

namespace tovix {

const VectorLoops avx512Loops{
    lanes,          longestTile, largestRadix, forwardColumns, forwardLanes, multiplySpectra, sumTail, finishTail,
    inverseColumns, add,         dot,          complexDot,     subtractTone};

} // namespace tovix
