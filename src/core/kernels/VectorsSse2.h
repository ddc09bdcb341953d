#pragma once

#include <emmintrin.h>

#include <cstddef>

/// What the sources of the 128-bit set share. All [audio], forced inline.
namespace tovix::sse2 {

constexpr std::size_t lanes = 4;

[[gnu::always_inline]] inline __m128 finiteOrZero(__m128 samples) noexcept {
    const __m128i magnitude = _mm_and_si128(_mm_castps_si128(samples), _mm_set1_epi32(0x7FFFFFFF));
    const __m128i finite = _mm_cmplt_epi32(magnitude, _mm_set1_epi32(0x7F800000));
    return _mm_and_ps(samples, _mm_castsi128_ps(finite));
}

[[gnu::always_inline]] inline __m128 magnitude(__m128 samples) noexcept {
    return _mm_and_ps(samples, _mm_castsi128_ps(_mm_set1_epi32(0x7FFFFFFF)));
}

} // namespace tovix::sse2
