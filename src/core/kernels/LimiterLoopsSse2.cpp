#include "kernels/LimiterLoops.h"

#include <emmintrin.h>

namespace tovix {
namespace {

using Vector = __m128d;
/// A double in the lowest lane.
using Single = __m128d;
using Floats = __m128;
constexpr std::size_t lanes = 2;
constexpr std::size_t floatLanes = 4;

[[gnu::always_inline]] inline Vector load(const double* p) noexcept {
    return _mm_loadu_pd(p);
}
[[gnu::always_inline]] inline void store(double* p, Vector v) noexcept {
    _mm_storeu_pd(p, v);
}
[[gnu::always_inline]] inline Vector all(double value) noexcept {
    return _mm_set1_pd(value);
}
/// a * b + c; here rounded twice.
[[gnu::always_inline]] inline Vector multiplyAdd(Vector a, Vector b, Vector c) noexcept {
    return _mm_add_pd(_mm_mul_pd(a, b), c);
}
/// c - a * b
[[gnu::always_inline]] inline Vector subtractProduct(Vector c, Vector a, Vector b) noexcept {
    return _mm_sub_pd(c, _mm_mul_pd(a, b));
}
[[gnu::always_inline]] inline Vector larger(Vector a, Vector b) noexcept {
    return _mm_max_pd(a, b);
}
[[gnu::always_inline]] inline bool anyBeyond(Vector a, Vector b) noexcept {
    return _mm_movemask_pd(_mm_cmpgt_pd(a, b)) != 0;
}
/// `yes` where the mask is set, `no` where it is clear.
[[gnu::always_inline]] inline Single choose(Single mask, Single yes, Single no) noexcept {
    return _mm_or_pd(_mm_and_pd(mask, yes), _mm_andnot_pd(mask, no));
}
/// `yes` where a and b are equal, `no` elsewhere.
[[gnu::always_inline]] inline Vector chooseEqual(Vector a, Vector b, Vector yes, Vector no) noexcept {
    return choose(_mm_cmpeq_pd(a, b), yes, no);
}
/// In each lane the largest of those up to it.
[[gnu::always_inline]] inline Vector largestUpToEach(Vector v) noexcept {
    return larger(v, _mm_unpacklo_pd(v, v));
}
[[gnu::always_inline]] inline Vector joined(const Single* singles) noexcept {
    return _mm_unpacklo_pd(singles[0], singles[1]);
}
/// As many floats as a vector has lanes, and back.
[[gnu::always_inline]] inline Vector widened(const float* p) noexcept {
    return _mm_cvtps_pd(_mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))));
}
[[gnu::always_inline]] inline void storeRounded(float* p, Vector v) noexcept {
    _mm_storel_pi(reinterpret_cast<__m64*>(p), _mm_cvtpd_ps(v));
}

[[gnu::always_inline]] inline Floats loadFloats(const float* p) noexcept {
    return _mm_loadu_ps(p);
}
[[gnu::always_inline]] inline void storeFloats(float* p, Floats v) noexcept {
    _mm_storeu_ps(p, v);
}
[[gnu::always_inline]] inline Floats magnitudeOf(Floats v) noexcept {
    return _mm_and_ps(v, _mm_castsi128_ps(_mm_set1_epi32(0x7FFFFFFF)));
}
[[gnu::always_inline]] inline Floats larger(Floats a, Floats b) noexcept {
    return _mm_max_ps(a, b);
}
[[gnu::always_inline]] inline bool anyBeyond(Floats a, float b) noexcept {
    return _mm_movemask_ps(_mm_cmpgt_ps(a, _mm_set1_ps(b))) != 0;
}
/// Collects magnitudes.
struct Largest {
    Floats largest{};
    /// The highest bits of the highest exponent: a comparison of floats loses what is not a number.
    __m128i words{};
    [[gnu::always_inline]] void add(Floats magnitude) noexcept {
        largest = _mm_max_ps(largest, magnitude);
        words = _mm_max_epi16(words, _mm_castps_si128(magnitude));
    }
    [[nodiscard, gnu::always_inline]] Floats magnitudes() const noexcept { return largest; }
    [[nodiscard, gnu::always_inline]] bool isFinite() const noexcept {
        return _mm_movemask_epi8(_mm_cmpgt_epi32(_mm_srli_epi32(words, 16), _mm_set1_epi32(0x7F7F))) == 0;
    }
};

} // namespace
} // namespace tovix

#include "kernels/vector/Channels.inl"
#include "kernels/vector/Limiter.inl"

namespace tovix {

const LimiterLoops sse2LimiterLoops{"sse2", largestMagnitude, linkedPeaks, limit, applyFactors};

} // namespace tovix
