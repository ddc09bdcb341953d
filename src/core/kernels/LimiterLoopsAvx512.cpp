// Compiled for AVX-512 F, VL and DQ. Nothing but what stands here and in vector/ may be compiled into this file: an
// inline function of another header could become the one copy of it that the whole program runs.

#include "kernels/LimiterLoops.h"

#include <immintrin.h>

namespace tovix {
namespace {

using Vector = __m512d;
/// A double in the lowest lane.
using Single = __m128d;
using Floats = __m512;
constexpr std::size_t lanes = 8;
constexpr std::size_t floatLanes = 16;

[[gnu::always_inline]] inline Vector load(const double* p) noexcept {
    return _mm512_loadu_pd(p);
}
[[gnu::always_inline]] inline void store(double* p, Vector v) noexcept {
    _mm512_storeu_pd(p, v);
}
[[gnu::always_inline]] inline Vector all(double value) noexcept {
    return _mm512_set1_pd(value);
}
/// a * b + c, rounded once.
[[gnu::always_inline]] inline Vector multiplyAdd(Vector a, Vector b, Vector c) noexcept {
    return _mm512_fmadd_pd(a, b, c);
}
/// c - a * b, rounded once.
[[gnu::always_inline]] inline Vector subtractProduct(Vector c, Vector a, Vector b) noexcept {
    return _mm512_fnmadd_pd(a, b, c);
}
[[gnu::always_inline]] inline Single subtractProduct(Single c, Single a, Single b) noexcept {
    return _mm_fnmadd_pd(a, b, c);
}
[[gnu::always_inline]] inline Vector larger(Vector a, Vector b) noexcept {
    return _mm512_max_pd(a, b);
}
[[gnu::always_inline]] inline bool anyBeyond(Vector a, Vector b) noexcept {
    return _mm512_cmp_pd_mask(a, b, _CMP_GT_OQ) != 0;
}
/// `yes` where the mask is set, `no` where it is clear.
[[gnu::always_inline]] inline Single choose(Single mask, Single yes, Single no) noexcept {
    return _mm_blendv_pd(no, yes, mask);
}
/// `yes` where a and b are equal, `no` elsewhere.
[[gnu::always_inline]] inline Vector chooseEqual(Vector a, Vector b, Vector yes, Vector no) noexcept {
    return _mm512_mask_blend_pd(_mm512_cmp_pd_mask(a, b, _CMP_EQ_OQ), no, yes);
}
/// In each lane the largest of those up to it.
[[gnu::always_inline]] inline Vector largestUpToEach(Vector v) noexcept {
    const Vector ofTwo = larger(v, _mm512_permutexvar_pd(_mm512_setr_epi64(0, 0, 1, 2, 3, 4, 5, 6), v));
    const Vector ofFour = larger(ofTwo, _mm512_permutexvar_pd(_mm512_setr_epi64(0, 1, 0, 1, 2, 3, 4, 5), ofTwo));
    return larger(ofFour, _mm512_permutexvar_pd(_mm512_setr_epi64(0, 1, 2, 3, 0, 1, 2, 3), ofFour));
}
[[gnu::always_inline]] inline Vector joined(const Single* singles) noexcept {
    const __m256d low =
        _mm256_set_m128d(_mm_unpacklo_pd(singles[2], singles[3]), _mm_unpacklo_pd(singles[0], singles[1]));
    const __m256d high =
        _mm256_set_m128d(_mm_unpacklo_pd(singles[6], singles[7]), _mm_unpacklo_pd(singles[4], singles[5]));
    return _mm512_insertf64x4(_mm512_castpd256_pd512(low), high, 1);
}
/// As many floats as a vector has lanes, and back.
[[gnu::always_inline]] inline Vector widened(const float* p) noexcept {
    return _mm512_cvtps_pd(_mm256_loadu_ps(p));
}
[[gnu::always_inline]] inline void storeRounded(float* p, Vector v) noexcept {
    _mm256_storeu_ps(p, _mm512_cvtpd_ps(v));
}

[[gnu::always_inline]] inline Floats loadFloats(const float* p) noexcept {
    return _mm512_loadu_ps(p);
}
[[gnu::always_inline]] inline void storeFloats(float* p, Floats v) noexcept {
    _mm512_storeu_ps(p, v);
}
[[gnu::always_inline]] inline Floats magnitudeOf(Floats v) noexcept {
    return _mm512_and_ps(v, _mm512_castsi512_ps(_mm512_set1_epi32(0x7FFFFFFF)));
}
[[gnu::always_inline]] inline Floats larger(Floats a, Floats b) noexcept {
    return _mm512_max_ps(a, b);
}
[[gnu::always_inline]] inline bool anyBeyond(Floats a, float b) noexcept {
    return _mm512_cmp_ps_mask(a, _mm512_set1_ps(b), _CMP_GT_OQ) != 0;
}
/// Collects magnitudes, as whole numbers: a comparison of floats loses what is not a number.
struct Largest {
    __m512i bits{};
    [[gnu::always_inline]] void add(Floats magnitude) noexcept {
        bits = _mm512_max_epu32(bits, _mm512_castps_si512(magnitude));
    }
    [[nodiscard, gnu::always_inline]] Floats magnitudes() const noexcept { return _mm512_castsi512_ps(bits); }
    [[nodiscard, gnu::always_inline]] bool isFinite() const noexcept {
        return _mm512_cmpgt_epi32_mask(bits, _mm512_set1_epi32(0x7F7FFFFF)) == 0;
    }
};

} // namespace
} // namespace tovix

#include "kernels/vector/Channels.inl"
#include "kernels/vector/Limiter.inl"

namespace tovix {

const LimiterLoops avx512LimiterLoops{"avx512", largestMagnitude, linkedPeaks, limit, applyFactors};

} // namespace tovix
