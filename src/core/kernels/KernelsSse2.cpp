#include "kernels/KernelsScalar.h"

#include <emmintrin.h>

#include <cstring>

namespace tovix {
namespace {

constexpr std::size_t lanes = 4;

RT_SECTION inline __m128 finiteOrZero(__m128 samples) noexcept {
    const __m128i magnitude = _mm_and_si128(_mm_castps_si128(samples), _mm_set1_epi32(0x7FFFFFFF));
    const __m128i finite = _mm_cmplt_epi32(magnitude, _mm_set1_epi32(0x7F800000));
    return _mm_and_ps(samples, _mm_castsi128_ps(finite));
}

RT_SECTION inline __m128 magnitude(__m128 samples) noexcept {
    return _mm_and_ps(samples, _mm_castsi128_ps(_mm_set1_epi32(0x7FFFFFFF)));
}

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

/// The two floats at `low` and the two at `high`.
RT_SECTION inline __m128 loadPairs(const float* low, const float* high) noexcept {
    const __m128 first = _mm_loadl_pi(_mm_setzero_ps(), reinterpret_cast<const __m64*>(low));
    return _mm_loadh_pi(first, reinterpret_cast<const __m64*>(high));
}

RT_SECTION inline void storePairs(__m128 pairs, float* low, float* high) noexcept {
    _mm_storel_pi(reinterpret_cast<__m64*>(low), pairs);
    _mm_storeh_pi(reinterpret_cast<__m64*>(high), pairs);
}

/// Frames `f` to `f` + 3 of four channels, from interleaved frames that are `stride` floats apart.
RT_SECTION inline void splitFour(const float* frames, std::size_t stride, float* const* channels,
                                 std::size_t f) noexcept {
    __m128 a = _mm_loadu_ps(frames);
    __m128 b = _mm_loadu_ps(frames + stride);
    __m128 c = _mm_loadu_ps(frames + 2 * stride);
    __m128 d = _mm_loadu_ps(frames + 3 * stride);
    _MM_TRANSPOSE4_PS(a, b, c, d);
    _mm_storeu_ps(channels[0] + f, a);
    _mm_storeu_ps(channels[1] + f, b);
    _mm_storeu_ps(channels[2] + f, c);
    _mm_storeu_ps(channels[3] + f, d);
}

/// The same of two channels.
RT_SECTION inline void splitTwo(__m128 framesZeroOne, __m128 framesTwoThree, float* const* channels,
                                std::size_t f) noexcept {
    _mm_storeu_ps(channels[0] + f, _mm_shuffle_ps(framesZeroOne, framesTwoThree, _MM_SHUFFLE(2, 0, 2, 0)));
    _mm_storeu_ps(channels[1] + f, _mm_shuffle_ps(framesZeroOne, framesTwoThree, _MM_SHUFFLE(3, 1, 3, 1)));
}

RT_SECTION inline void joinFour(const float* const* channels, std::size_t f, float* frames,
                                std::size_t stride) noexcept {
    __m128 a = finiteOrZero(_mm_loadu_ps(channels[0] + f));
    __m128 b = finiteOrZero(_mm_loadu_ps(channels[1] + f));
    __m128 c = finiteOrZero(_mm_loadu_ps(channels[2] + f));
    __m128 d = finiteOrZero(_mm_loadu_ps(channels[3] + f));
    _MM_TRANSPOSE4_PS(a, b, c, d);
    _mm_storeu_ps(frames, a);
    _mm_storeu_ps(frames + stride, b);
    _mm_storeu_ps(frames + 2 * stride, c);
    _mm_storeu_ps(frames + 3 * stride, d);
}

RT_SECTION std::size_t deinterleaveStereo(const float* in, float* const* channels, std::size_t frames) noexcept {
    std::size_t f = 0;
    for (; f + lanes <= frames; f += lanes) {
        splitTwo(_mm_loadu_ps(in + 2 * f), _mm_loadu_ps(in + 2 * f + 4), channels, f);
    }
    return f;
}

RT_SECTION std::size_t deinterleaveSix(const float* in, float* const* channels, std::size_t frames) noexcept {
    std::size_t f = 0;
    for (; f + lanes <= frames; f += lanes) {
        const float* const block = in + 6 * f;
        splitFour(block, 6, channels, f);
        splitTwo(loadPairs(block + 4, block + 10), loadPairs(block + 16, block + 22), channels + 4, f);
    }
    return f;
}

RT_SECTION std::size_t deinterleaveEight(const float* in, float* const* channels, std::size_t frames) noexcept {
    std::size_t f = 0;
    for (; f + lanes <= frames; f += lanes) {
        splitFour(in + 8 * f, 8, channels, f);
        splitFour(in + 8 * f + 4, 8, channels + 4, f);
    }
    return f;
}

RT_SECTION std::size_t interleaveStereo(const float* const* channels, float* out, std::size_t frames) noexcept {
    std::size_t f = 0;
    for (; f + lanes <= frames; f += lanes) {
        const __m128 left = finiteOrZero(_mm_loadu_ps(channels[0] + f));
        const __m128 right = finiteOrZero(_mm_loadu_ps(channels[1] + f));
        _mm_storeu_ps(out + 2 * f, _mm_unpacklo_ps(left, right));
        _mm_storeu_ps(out + 2 * f + 4, _mm_unpackhi_ps(left, right));
    }
    return f;
}

RT_SECTION std::size_t interleaveSix(const float* const* channels, float* out, std::size_t frames) noexcept {
    std::size_t f = 0;
    for (; f + lanes <= frames; f += lanes) {
        float* const block = out + 6 * f;
        joinFour(channels, f, block, 6);
        const __m128 fifth = finiteOrZero(_mm_loadu_ps(channels[4] + f));
        const __m128 sixth = finiteOrZero(_mm_loadu_ps(channels[5] + f));
        storePairs(_mm_unpacklo_ps(fifth, sixth), block + 4, block + 10);
        storePairs(_mm_unpackhi_ps(fifth, sixth), block + 16, block + 22);
    }
    return f;
}

RT_SECTION std::size_t interleaveEight(const float* const* channels, float* out, std::size_t frames) noexcept {
    std::size_t f = 0;
    for (; f + lanes <= frames; f += lanes) {
        joinFour(channels, f, out + 8 * f, 8);
        joinFour(channels + 4, f, out + 8 * f + 4, 8);
    }
    return f;
}

RT_SECTION void deinterleave(const float* interleaved, float* const* channels, std::uint32_t channelCount,
                             std::uint32_t frameCount) noexcept {
    std::size_t done = 0;
    if (channelCount == 1) {
        std::memcpy(channels[0], interleaved, std::size_t{frameCount} * sizeof(float));
        done = frameCount;
    } else if (channelCount == 2) {
        done = deinterleaveStereo(interleaved, channels, frameCount);
    } else if (channelCount == 6) {
        done = deinterleaveSix(interleaved, channels, frameCount);
    } else if (channelCount == 8) {
        done = deinterleaveEight(interleaved, channels, frameCount);
    }
    scalar::deinterleave(interleaved, channels, {channelCount, done, frameCount});
}

RT_SECTION void copyFinite(const float* source, float* target, std::size_t count) noexcept {
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        _mm_storeu_ps(target + i, finiteOrZero(_mm_loadu_ps(source + i)));
    }
    scalarKernels.copyFinite(source + i, target + i, count - i);
}

RT_SECTION void interleaveFinite(const float* const* channels, float* interleaved, std::uint32_t channelCount,
                                 std::uint32_t frameCount) noexcept {
    std::size_t done = 0;
    if (channelCount == 1) {
        copyFinite(channels[0], interleaved, frameCount);
        done = frameCount;
    } else if (channelCount == 2) {
        done = interleaveStereo(channels, interleaved, frameCount);
    } else if (channelCount == 6) {
        done = interleaveSix(channels, interleaved, frameCount);
    } else if (channelCount == 8) {
        done = interleaveEight(channels, interleaved, frameCount);
    }
    scalar::interleaveFinite(channels, interleaved, {channelCount, done, frameCount});
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

RT_SECTION std::size_t applyGainWithin(float* left, float* right, std::size_t count, float gain,
                                       float limit) noexcept {
    const __m128 gains = _mm_set1_ps(gain);
    const __m128 limits = _mm_set1_ps(limit);
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        const __m128 l = _mm_mul_ps(_mm_loadu_ps(left + i), gains);
        const __m128 r = _mm_mul_ps(_mm_loadu_ps(right + i), gains);
        const __m128 within = _mm_and_ps(_mm_cmple_ps(magnitude(l), limits), _mm_cmple_ps(magnitude(r), limits));
        if (_mm_movemask_ps(within) != 0xF) {
            break;
        }
        _mm_storeu_ps(left + i, l);
        _mm_storeu_ps(right + i, r);
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

} // namespace

const Kernels sse2Kernels{"sse2", multiplyAccumulate, deinterleave,    interleaveFinite, copyFinite,
                          add,    applyGain,          applyGainWithin, applyPreciseGain, silenceNonFinite};

} // namespace tovix
