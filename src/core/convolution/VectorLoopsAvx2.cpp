// Compiled for AVX2 and FMA. Nothing but what stands here and in vector/ may be compiled into this file: an inline
// function of another header could become the one copy of it that the whole program runs.

#include "convolution/VectorLoops.h"
#include "memory/RtSection.h"

#include <immintrin.h>

namespace tovix {
namespace {

using Vector = __m256;
constexpr std::size_t lanes = 8;
constexpr std::size_t largestRadix = 6;
constexpr std::size_t longestTile = 2;

[[gnu::always_inline]] inline Vector load(const float* p) noexcept {
    return _mm256_load_ps(p);
}
[[gnu::always_inline]] inline Vector loadAnywhere(const float* p) noexcept {
    return _mm256_loadu_ps(p);
}
[[gnu::always_inline]] inline void store(float* p, Vector v) noexcept {
    _mm256_store_ps(p, v);
}
[[gnu::always_inline]] inline void storeAnywhere(float* p, Vector v) noexcept {
    _mm256_storeu_ps(p, v);
}
[[gnu::always_inline]] inline Vector all(float value) noexcept {
    return _mm256_set1_ps(value);
}
/// a * b + c, rounded once.
[[gnu::always_inline]] inline Vector multiplyAdd(Vector a, Vector b, Vector c) noexcept {
    return _mm256_fmadd_ps(a, b, c);
}
/// c - a * b, rounded once.
[[gnu::always_inline]] inline Vector subtractProduct(Vector c, Vector a, Vector b) noexcept {
    return _mm256_fnmadd_ps(a, b, c);
}
[[gnu::always_inline]] inline Vector finiteOrZero(Vector v) noexcept {
    const __m256i magnitude = _mm256_and_si256(_mm256_castps_si256(v), _mm256_set1_epi32(0x7FFFFFFF));
    const __m256i finite = _mm256_cmpgt_epi32(_mm256_set1_epi32(0x7F800000), magnitude);
    return _mm256_and_ps(v, _mm256_castsi256_ps(finite));
}
[[gnu::always_inline]] inline __m256i firstLanes(std::size_t count) noexcept {
    return _mm256_cmpgt_epi32(_mm256_set1_epi32(static_cast<int>(count)), _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7));
}
/// The first `count` floats, then zeros; and back.
[[gnu::always_inline]] inline Vector loadFirst(const float* p, std::size_t count) noexcept {
    return _mm256_maskload_ps(p, firstLanes(count));
}
[[gnu::always_inline]] inline void storeFirst(float* p, Vector v, std::size_t count) noexcept {
    _mm256_maskstore_ps(p, firstLanes(count), v);
}
/// Lane l gets what lane l xor `distance` has.
template <std::size_t distance> [[gnu::always_inline]] inline Vector exchanged(Vector v) noexcept {
    if constexpr (distance == 4) {
        return _mm256_permute2f128_ps(v, v, 1);
    } else {
        return _mm256_permute_ps(v, distance == 2 ? 0x4E : 0xB1);
    }
}

} // namespace
} // namespace tovix

#include "convolution/vector/Columns.inl"
#include "convolution/vector/Gap.inl"
#include "convolution/vector/Sums.inl"
#include "convolution/vector/Tail.inl"

namespace tovix {

const VectorLoops avx2Loops{
    lanes,          longestTile, largestRadix, forwardColumns, forwardLanes, multiplySpectra, sumTail, finishTail,
    inverseColumns, add,         dot,          complexDot,     subtractTone};

} // namespace tovix
