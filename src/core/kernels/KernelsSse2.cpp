#include "kernels/InterleavingSse2.h"
#include "kernels/KernelsScalar.h"
#include "kernels/VectorsSse2.h"

#include <cstring>

namespace tovix {
namespace {

using sse2::finiteOrZero;
using sse2::lanes;
using sse2::magnitude;

/// The operands of one row, so that the compiler knows them not to change under the stores.
struct Row {
    const float* partitionRe;
    const float* partitionIm;
    float* accRe;
    float* accIm;
};

RT_SECTION inline Row rowOf(const SpectrumProducts& products, std::size_t row) noexcept {
    return {products.partitionRe[row], products.partitionIm[row], products.accRe[row], products.accIm[row]};
}

/// Four bins of one row. The accumulator comes first in each sum because that measures a third faster than adding
/// it to the finished product.
RT_SECTION inline void accumulateFour(const Row& row, std::size_t bin, __m128 inputRe, __m128 inputIm) noexcept {
    const __m128 re = _mm_load_ps(row.partitionRe + bin);
    const __m128 im = _mm_load_ps(row.partitionIm + bin);
    const __m128 sumRe = _mm_add_ps(_mm_load_ps(row.accRe + bin), _mm_mul_ps(inputRe, re));
    _mm_store_ps(row.accRe + bin, _mm_sub_ps(sumRe, _mm_mul_ps(inputIm, im)));
    const __m128 sumIm = _mm_add_ps(_mm_load_ps(row.accIm + bin), _mm_mul_ps(inputRe, im));
    _mm_store_ps(row.accIm + bin, _mm_add_ps(sumIm, _mm_mul_ps(inputIm, re)));
}

/// Two rows in one pass, so that the input is loaded once for both.
RT_SECTION void multiplyAccumulate(const SpectrumProducts& products) noexcept {
    const float* const inputRe = products.inputRe;
    const float* const inputIm = products.inputIm;
    const std::size_t lastBin = products.blockFrames;
    const std::size_t binCount = lastBin / lanes * lanes;
    std::size_t row = 0;
    for (; row + 2 <= products.rows; row += 2) {
        const Row a = rowOf(products, row);
        const Row b = rowOf(products, row + 1);
        for (std::size_t bin = 0; bin < binCount; bin += lanes) {
            const __m128 re = _mm_load_ps(inputRe + bin);
            const __m128 im = _mm_load_ps(inputIm + bin);
            accumulateFour(a, bin, re, im);
            accumulateFour(b, bin, re, im);
        }
        scalar::multiplyAccumulateRow(products, row, lastBin, lastBin + 1);
        scalar::multiplyAccumulateRow(products, row + 1, lastBin, lastBin + 1);
    }
    if (row < products.rows) {
        const Row a = rowOf(products, row);
        for (std::size_t bin = 0; bin < binCount; bin += lanes) {
            accumulateFour(a, bin, _mm_load_ps(inputRe + bin), _mm_load_ps(inputIm + bin));
        }
        scalar::multiplyAccumulateRow(products, row, lastBin, lastBin + 1);
    }
}

RT_SECTION void copyFinite(const float* source, float* target, std::size_t count) noexcept {
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        _mm_storeu_ps(target + i, finiteOrZero(_mm_loadu_ps(source + i)));
    }
    scalarKernels.copyFinite(source + i, target + i, count - i);
}

RT_SECTION void add(const float* a, const float* b, float* sum, std::size_t count) noexcept {
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        _mm_storeu_ps(sum + i, _mm_add_ps(_mm_loadu_ps(a + i), _mm_loadu_ps(b + i)));
    }
    for (; i < count; ++i) {
        sum[i] = a[i] + b[i];
    }
}

RT_SECTION void applyGain(float* samples, std::size_t count, float gain) noexcept {
    const __m128 gains = _mm_set1_ps(gain);
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        _mm_storeu_ps(samples + i, _mm_mul_ps(_mm_loadu_ps(samples + i), gains));
    }
    for (; i < count; ++i) {
        samples[i] *= gain;
    }
}

/// Sixteen frames at a time, the guard's verdicts together, so that the loop's own instructions hardly count.
RT_SECTION std::size_t applyGainWithin(float* left, float* right, std::size_t count, float gain,
                                       float limit) noexcept {
    constexpr std::size_t vectors = 4;
    const __m128 gains = _mm_set1_ps(gain);
    const __m128 limits = _mm_set1_ps(limit);
    std::size_t i = 0;
    for (; i + vectors * lanes <= count; i += vectors * lanes) {
        __m128 l[vectors];
        __m128 r[vectors];
        __m128 within = _mm_cmpeq_ps(limits, limits);
#pragma GCC unroll 4
        for (std::size_t v = 0; v < vectors; ++v) {
            l[v] = _mm_mul_ps(_mm_loadu_ps(left + i + v * lanes), gains);
            r[v] = _mm_mul_ps(_mm_loadu_ps(right + i + v * lanes), gains);
            // Not by the larger of the two, which would lose what is not a number.
            within = _mm_and_ps(
                within, _mm_and_ps(_mm_cmple_ps(magnitude(l[v]), limits), _mm_cmple_ps(magnitude(r[v]), limits)));
        }
        if (_mm_movemask_ps(within) != 0xF) {
            break;
        }
#pragma GCC unroll 4
        for (std::size_t v = 0; v < vectors; ++v) {
            _mm_storeu_ps(left + i + v * lanes, l[v]);
            _mm_storeu_ps(right + i + v * lanes, r[v]);
        }
    }
    return i + scalarKernels.applyGainWithin(left + i, right + i, count - i, gain, limit);
}

RT_SECTION void applyPreciseGain(float* samples, std::size_t count, double gain) noexcept {
    const __m128d gains = _mm_set1_pd(gain);
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        const __m128 four = _mm_loadu_ps(samples + i);
        const __m128 low = _mm_cvtpd_ps(_mm_mul_pd(_mm_cvtps_pd(four), gains));
        const __m128 high = _mm_cvtpd_ps(_mm_mul_pd(_mm_cvtps_pd(_mm_movehl_ps(four, four)), gains));
        _mm_storeu_ps(samples + i, _mm_movelh_ps(low, high));
    }
    for (; i < count; ++i) {
        samples[i] = static_cast<float>(static_cast<double>(samples[i]) * gain);
    }
}

RT_SECTION float silenceNonFinite(float* samples, std::size_t count) noexcept {
    __m128 largest = _mm_setzero_ps();
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        const __m128 finite = finiteOrZero(_mm_loadu_ps(samples + i));
        _mm_storeu_ps(samples + i, finite);
        largest = _mm_max_ps(largest, magnitude(finite));
    }
    largest = _mm_max_ps(largest, _mm_movehl_ps(largest, largest));
    largest = _mm_max_ss(largest, _mm_shuffle_ps(largest, largest, _MM_SHUFFLE(1, 1, 1, 1)));
    const float rest = scalarKernels.silenceNonFinite(samples + i, count - i);
    const float vectors = _mm_cvtss_f32(largest);
    return rest > vectors ? rest : vectors;
}

constexpr double inverseFactorial(int n) noexcept {
    return n < 2 ? 1.0 : inverseFactorial(n - 1) / n;
}

/// cos(angle) for 0 to pi, to 5e-14: the sine's series at a quarter turn less the angle.
RT_SECTION inline __m128d cosineOf(__m128d angle) noexcept {
    constexpr double halfPi = 1.5707963267948966;
    constexpr double highest = inverseFactorial(17);
    constexpr double others[]{-inverseFactorial(15), inverseFactorial(13), -inverseFactorial(11), inverseFactorial(9),
                              -inverseFactorial(7),  inverseFactorial(5),  -inverseFactorial(3),  1.0};
    const __m128d x = _mm_sub_pd(_mm_set1_pd(halfPi), angle);
    const __m128d square = _mm_mul_pd(x, x);
    __m128d sum = _mm_set1_pd(highest);
#pragma GCC unroll 8
    for (const double coefficient : others) {
        sum = _mm_add_pd(_mm_mul_pd(sum, square), _mm_set1_pd(coefficient));
    }
    return _mm_mul_pd(sum, x);
}

/// The weights of four frames of the fade. The cosine is rounded once, from double precision.
RT_SECTION inline __m128 fourWeights(std::uint32_t position, __m128 length) noexcept {
    const __m128i frames = _mm_add_epi32(_mm_set1_epi32(static_cast<int>(position)), _mm_setr_epi32(0, 1, 2, 3));
    const __m128 angles = _mm_div_ps(_mm_mul_ps(_mm_cvtepi32_ps(frames), _mm_set1_ps(3.1415927F)), length);
    const __m128 low = _mm_cvtpd_ps(cosineOf(_mm_cvtps_pd(angles)));
    const __m128 high = _mm_cvtpd_ps(cosineOf(_mm_cvtps_pd(_mm_movehl_ps(angles, angles))));
    return _mm_mul_ps(_mm_sub_ps(_mm_set1_ps(1.0F), _mm_movelh_ps(low, high)), _mm_set1_ps(0.5F));
}

RT_SECTION void fadeInWeights(std::uint32_t position, std::uint32_t fadeFrames, float* weights,
                              std::size_t count) noexcept {
    const std::size_t left = position < fadeFrames ? fadeFrames - position : 0;
    const std::size_t rising = left < count ? left : count;
    const __m128 length = _mm_set1_ps(static_cast<float>(fadeFrames));
    std::size_t i = 0;
    for (; i + lanes <= rising; i += lanes) {
        _mm_storeu_ps(weights + i, fourWeights(position + static_cast<std::uint32_t>(i), length));
    }
    if (i < rising) {
        alignas(16) float four[lanes];
        _mm_store_ps(four, fourWeights(position + static_cast<std::uint32_t>(i), length));
        std::memcpy(weights + i, four, (rising - i) * sizeof(float));
    }
    for (i = rising; i < count; ++i) {
        weights[i] = 1.0F;
    }
}

RT_SECTION void crossfade(const float* weights, const float* pending, float* current, std::size_t count) noexcept {
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        const __m128 w = _mm_loadu_ps(weights + i);
        const __m128 in = _mm_mul_ps(w, _mm_loadu_ps(pending + i));
        const __m128 out = _mm_mul_ps(_mm_sub_ps(_mm_set1_ps(1.0F), w), _mm_loadu_ps(current + i));
        _mm_storeu_ps(current + i, _mm_add_ps(in, out));
    }
    scalarKernels.crossfade(weights + i, pending + i, current + i, count - i);
}

} // namespace

const Kernels sse2Kernels{
    "sse2",    multiplyAccumulate, sse2::deinterleave, sse2::interleaveFinite, copyFinite,    add,
    applyGain, applyGainWithin,    applyPreciseGain,   silenceNonFinite,       fadeInWeights, crossfade};

} // namespace tovix
