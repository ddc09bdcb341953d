#include "kernels/InterleavingSse2.h"

#include "kernels/Kernels.h"
#include "kernels/KernelsScalar.h"
#include "kernels/VectorsSse2.h"

#include <algorithm>
#include <cstring>

namespace tovix::sse2 {
namespace {

/// Frames that all groups of channels pass through before any goes on to the next: few enough for the interleaved
/// samples to stay in the nearest cache. Without it 16 channels of 1024 frames are split half as fast.
constexpr std::size_t stripFrames = 64;

/// Some frames of one group of channels.
struct Strip {
    /// Floats from one interleaved frame to the next.
    std::size_t stride;
    std::size_t first;
    std::size_t end;
};

/// How many frames go through vectors. A group of three reads and writes the sample behind its own, which belongs to
/// the next group or, in the last one, to the next frame.
RT_SECTION std::size_t vectorFrames(std::size_t channelCount, std::size_t frameCount) noexcept {
    const std::size_t beyond = channelCount % lanes == 3 && frameCount > 0 ? 1 : 0;
    return (frameCount - beyond) / lanes * lanes;
}

/// The two floats at `low` and the two at `high`.
[[gnu::always_inline]] inline __m128 loadPairs(const float* low, const float* high) noexcept {
    const __m128 first = _mm_loadl_pi(_mm_setzero_ps(), reinterpret_cast<const __m64*>(low));
    return _mm_loadh_pi(first, reinterpret_cast<const __m64*>(high));
}

[[gnu::always_inline]] inline void storePairs(__m128 pairs, float* low, float* high) noexcept {
    _mm_storel_pi(reinterpret_cast<__m64*>(low), pairs);
    _mm_storeh_pi(reinterpret_cast<__m64*>(high), pairs);
}

/// Frames of `width` channels, the first of which stands at `samples` in frame 0.
template <std::size_t width>
[[gnu::always_inline]] inline void split(const Strip& strip, const float* samples, float* const* channels) noexcept {
    float* targets[width];
    std::copy_n(channels, width, targets);
    for (std::size_t f = strip.first; f < strip.end; f += lanes) {
        const float* const frames[]{samples + f * strip.stride, samples + (f + 1) * strip.stride,
                                    samples + (f + 2) * strip.stride, samples + (f + 3) * strip.stride};
        if constexpr (width == 1) {
            const __m128 low = _mm_unpacklo_ps(_mm_load_ss(frames[0]), _mm_load_ss(frames[1]));
            const __m128 high = _mm_unpacklo_ps(_mm_load_ss(frames[2]), _mm_load_ss(frames[3]));
            _mm_storeu_ps(targets[0] + f, _mm_movelh_ps(low, high));
        } else if constexpr (width == 2) {
            const __m128 low = loadPairs(frames[0], frames[1]);
            const __m128 high = loadPairs(frames[2], frames[3]);
            _mm_storeu_ps(targets[0] + f, _mm_shuffle_ps(low, high, _MM_SHUFFLE(2, 0, 2, 0)));
            _mm_storeu_ps(targets[1] + f, _mm_shuffle_ps(low, high, _MM_SHUFFLE(3, 1, 3, 1)));
        } else {
            __m128 rows[]{_mm_loadu_ps(frames[0]), _mm_loadu_ps(frames[1]), _mm_loadu_ps(frames[2]),
                          _mm_loadu_ps(frames[3])};
            _MM_TRANSPOSE4_PS(rows[0], rows[1], rows[2], rows[3]);
#pragma GCC unroll 4
            for (std::size_t c = 0; c < width; ++c) {
                _mm_storeu_ps(targets[c] + f, rows[c]);
            }
        }
    }
}

/// The inverse of `split`. Three channels are stored as four: the extra sample is overwritten by what is stored
/// later.
template <std::size_t width>
[[gnu::always_inline]] inline void join(const Strip& strip, const float* const* channels, float* samples) noexcept {
    const float* sources[width];
    std::copy_n(channels, width, sources);
    for (std::size_t f = strip.first; f < strip.end; f += lanes) {
        float* const frames[]{samples + f * strip.stride, samples + (f + 1) * strip.stride,
                              samples + (f + 2) * strip.stride, samples + (f + 3) * strip.stride};
        __m128 rows[lanes]{};
#pragma GCC unroll 4
        for (std::size_t c = 0; c < width; ++c) {
            rows[c] = finiteOrZero(_mm_loadu_ps(sources[c] + f));
        }
        if constexpr (width == 1) {
            _mm_store_ss(frames[0], rows[0]);
            _mm_store_ss(frames[1], _mm_shuffle_ps(rows[0], rows[0], 1));
            _mm_store_ss(frames[2], _mm_movehl_ps(rows[0], rows[0]));
            _mm_store_ss(frames[3], _mm_shuffle_ps(rows[0], rows[0], 3));
        } else if constexpr (width == 2) {
            storePairs(_mm_unpacklo_ps(rows[0], rows[1]), frames[0], frames[1]);
            storePairs(_mm_unpackhi_ps(rows[0], rows[1]), frames[2], frames[3]);
        } else {
            _MM_TRANSPOSE4_PS(rows[0], rows[1], rows[2], rows[3]);
#pragma GCC unroll 4
            for (std::size_t frame = 0; frame < lanes; ++frame) {
                _mm_storeu_ps(frames[frame], rows[frame]);
            }
        }
    }
}

RT_SECTION void splitStrip(const Strip& strip, const float* samples, float* const* channels) noexcept {
    std::size_t c = 0;
    for (; c + lanes <= strip.stride; c += lanes) {
        split<4>(strip, samples + c, channels + c);
    }
    switch (strip.stride - c) {
    case 3:
        return split<3>(strip, samples + c, channels + c);
    case 2:
        return split<2>(strip, samples + c, channels + c);
    case 1:
        return split<1>(strip, samples + c, channels + c);
    default:
        return;
    }
}

/// The group that may be one of three comes first, so that the others overwrite what it writes behind its own.
RT_SECTION void joinStrip(const Strip& strip, const float* const* channels, float* samples) noexcept {
    std::size_t c = strip.stride / lanes * lanes;
    switch (strip.stride - c) {
    case 3:
        join<3>(strip, channels + c, samples + c);
        break;
    case 2:
        join<2>(strip, channels + c, samples + c);
        break;
    case 1:
        join<1>(strip, channels + c, samples + c);
        break;
    default:
        break;
    }
    for (; c > 0; c -= lanes) {
        join<4>(strip, channels + c - lanes, samples + c - lanes);
    }
}

/// Two channels alone stand side by side, and whole vectors can be loaded and stored.
RT_SECTION std::size_t splitStereo(const float* samples, float* const* channels, std::size_t frameCount) noexcept {
    float* const left = channels[0];
    float* const right = channels[1];
    std::size_t f = 0;
#pragma GCC unroll 4
    for (; f + lanes <= frameCount; f += lanes) {
        const __m128 low = _mm_loadu_ps(samples + 2 * f);
        const __m128 high = _mm_loadu_ps(samples + 2 * f + lanes);
        _mm_storeu_ps(left + f, _mm_shuffle_ps(low, high, _MM_SHUFFLE(2, 0, 2, 0)));
        _mm_storeu_ps(right + f, _mm_shuffle_ps(low, high, _MM_SHUFFLE(3, 1, 3, 1)));
    }
    return f;
}

RT_SECTION std::size_t joinStereo(const float* const* channels, float* samples, std::size_t frameCount) noexcept {
    const float* const pLeft = channels[0];
    const float* const pRight = channels[1];
    std::size_t f = 0;
#pragma GCC unroll 4
    for (; f + lanes <= frameCount; f += lanes) {
        const __m128 left = finiteOrZero(_mm_loadu_ps(pLeft + f));
        const __m128 right = finiteOrZero(_mm_loadu_ps(pRight + f));
        _mm_storeu_ps(samples + 2 * f, _mm_unpacklo_ps(left, right));
        _mm_storeu_ps(samples + 2 * f + lanes, _mm_unpackhi_ps(left, right));
    }
    return f;
}

} // namespace

void deinterleave(const float* interleaved, float* const* channels, std::uint32_t channelCount,
                  std::uint32_t frameCount) noexcept {
    std::size_t done = 0;
    if (channelCount == 1) {
        std::memcpy(channels[0], interleaved, std::size_t{frameCount} * sizeof(float));
        done = frameCount;
    } else if (channelCount == 2) {
        done = splitStereo(interleaved, channels, frameCount);
    } else {
        const std::size_t end = vectorFrames(channelCount, frameCount);
        for (; done < end; done = std::min(done + stripFrames, end)) {
            splitStrip({channelCount, done, std::min(done + stripFrames, end)}, interleaved, channels);
        }
    }
    scalar::deinterleave(interleaved, channels, {channelCount, done, frameCount});
}

void interleaveFinite(const float* const* channels, float* interleaved, std::uint32_t channelCount,
                      std::uint32_t frameCount) noexcept {
    std::size_t done = 0;
    if (channelCount == 1) {
        sse2Kernels.copyFinite(channels[0], interleaved, frameCount);
        done = frameCount;
    } else if (channelCount == 2) {
        done = joinStereo(channels, interleaved, frameCount);
    } else {
        const std::size_t end = vectorFrames(channelCount, frameCount);
        for (; done < end; done = std::min(done + stripFrames, end)) {
            joinStrip({channelCount, done, std::min(done + stripFrames, end)}, channels, interleaved);
        }
    }
    scalar::interleaveFinite(channels, interleaved, {channelCount, done, frameCount});
}

} // namespace tovix::sse2
