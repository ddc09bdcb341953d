#include "kernels/KernelsScalar.h"

#include <bit>
#include <cmath>

namespace tovix {
namespace {

RT_SECTION float finiteOrZero(float sample) noexcept {
    constexpr std::uint32_t magnitudeBits = 0x7FFFFFFF;
    constexpr std::uint32_t infinityBits = 0x7F800000;
    return (std::bit_cast<std::uint32_t>(sample) & magnitudeBits) < infinityBits ? sample : 0.0F;
}

RT_SECTION void multiplyAccumulate(const SpectrumProducts& products) noexcept {
    const std::size_t lastBin = products.blockFrames;
    for (std::size_t row = 0; row < products.rows; ++row) {
        scalar::multiplyAccumulateRow(products, row, 0, lastBin / 4 * 4);
        scalar::multiplyAccumulateRow(products, row, lastBin, lastBin + 1);
    }
}

RT_SECTION void deinterleave(const float* interleaved, float* const* channels, std::uint32_t channelCount,
                             std::uint32_t frameCount) noexcept {
    scalar::deinterleave(interleaved, channels, {channelCount, 0, frameCount});
}

RT_SECTION void interleaveFinite(const float* const* channels, float* interleaved, std::uint32_t channelCount,
                                 std::uint32_t frameCount) noexcept {
    scalar::interleaveFinite(channels, interleaved, {channelCount, 0, frameCount});
}

RT_SECTION void copyFinite(const float* source, float* target, std::size_t count) noexcept {
    for (std::size_t i = 0; i < count; ++i) {
        target[i] = finiteOrZero(source[i]);
    }
}

RT_SECTION void add(const float* a, const float* b, float* sum, std::size_t count) noexcept {
    for (std::size_t i = 0; i < count; ++i) {
        sum[i] = a[i] + b[i];
    }
}

RT_SECTION void applyGain(float* samples, std::size_t count, float gain) noexcept {
    for (std::size_t i = 0; i < count; ++i) {
        samples[i] *= gain;
    }
}

RT_SECTION std::size_t applyGainWithin(float* left, float* right, std::size_t count, float gain,
                                       float limit) noexcept {
    for (std::size_t i = 0; i < count; ++i) {
        const float l = gain * left[i];
        const float r = gain * right[i];
        if (!(std::fabs(l) <= limit && std::fabs(r) <= limit)) {
            return i;
        }
        left[i] = l;
        right[i] = r;
    }
    return count;
}

RT_SECTION void applyPreciseGain(float* samples, std::size_t count, double gain) noexcept {
    for (std::size_t i = 0; i < count; ++i) {
        samples[i] = static_cast<float>(static_cast<double>(samples[i]) * gain);
    }
}

RT_SECTION float silenceNonFinite(float* samples, std::size_t count) noexcept {
    float largest = 0.0F;
    for (std::size_t i = 0; i < count; ++i) {
        samples[i] = finiteOrZero(samples[i]);
        const float magnitude = std::fabs(samples[i]);
        largest = magnitude > largest ? magnitude : largest;
    }
    return largest;
}

RT_SECTION void fadeInWeights(std::uint32_t position, std::uint32_t fadeFrames, float* weights,
                              std::size_t count) noexcept {
    constexpr float pi = 3.1415927F;
    const auto length = static_cast<float>(fadeFrames);
    for (std::size_t i = 0; i < count; ++i) {
        const auto p = static_cast<float>(position + i);
        weights[i] = p >= length ? 1.0F : (1.0F - std::cos(p * pi / length)) * 0.5F;
    }
}

RT_SECTION void crossfade(const float* weights, const float* pending, float* current, std::size_t count) noexcept {
    for (std::size_t i = 0; i < count; ++i) {
        current[i] = weights[i] * pending[i] + (1.0F - weights[i]) * current[i];
    }
}

} // namespace

const Kernels scalarKernels{"scalar",      multiplyAccumulate, deinterleave,    interleaveFinite, copyFinite,
                            add,           applyGain,          applyGainWithin, applyPreciseGain, silenceNonFinite,
                            fadeInWeights, crossfade};

void scalar::deinterleave(const float* interleaved, float* const* channels, FrameRange range) noexcept {
    for (std::uint32_t c = 0; c < range.channelCount; ++c) {
        for (std::size_t f = range.first; f < range.end; ++f) {
            channels[c][f] = interleaved[f * range.channelCount + c];
        }
    }
}

void scalar::interleaveFinite(const float* const* channels, float* interleaved, FrameRange range) noexcept {
    for (std::uint32_t c = 0; c < range.channelCount; ++c) {
        for (std::size_t f = range.first; f < range.end; ++f) {
            interleaved[f * range.channelCount + c] = finiteOrZero(channels[c][f]);
        }
    }
}

void scalar::multiplyAccumulateRow(const SpectrumProducts& products, std::size_t row, std::size_t first,
                                   std::size_t end) noexcept {
    const float* const re = products.partitionRe[row];
    const float* const im = products.partitionIm[row];
    for (std::size_t j = first; j < end; ++j) {
        products.accRe[row][j] += products.inputRe[j] * re[j] - products.inputIm[j] * im[j];
        products.accIm[row][j] += re[j] * products.inputIm[j] + products.inputRe[j] * im[j];
    }
}

} // namespace tovix
