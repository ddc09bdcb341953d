#include "filters/MinimumPhase.h"

#include <cmath>
#include <numbers>

namespace tovix {
namespace {

float& re(fftwf_complex& value) noexcept {
    return value[0];
}

float& im(fftwf_complex& value) noexcept {
    return value[1];
}

} // namespace

MinimumPhase MinimumPhase::make(std::uint32_t tapCount) noexcept {
    MinimumPhase design;
    if (tapCount == 0 || tapCount > maxTapCount) {
        return design;
    }
    const std::size_t binCount = 2 * std::size_t{tapCount};
    const auto length = static_cast<int>(binCount);
    design.m_tapCount = tapCount;
    design.m_time = HeapAlignedArray<fftwf_complex>::make(binCount);
    design.m_spectrum = HeapAlignedArray<fftwf_complex>::make(binCount);
    if (design.m_time && design.m_spectrum) {
        design.m_forward = FftPlan::complexForward(length, design.m_time.data(), design.m_spectrum.data());
        design.m_backward = FftPlan::complexBackward(length, design.m_spectrum.data(), design.m_time.data());
    }
    return design;
}

void MinimumPhase::setMagnitude(std::size_t bin, float magnitude) noexcept {
    const auto floorLog = static_cast<float>(std::log(magnitudeFloor));
    const float logarithm = magnitude >= magnitudeFloor ? std::log(magnitude) : floorLog;
    const std::size_t mirror = 2 * std::size_t{m_tapCount} - 1 - bin;
    re(m_spectrum[bin]) = re(m_spectrum[mirror]) = logarithm;
    im(m_spectrum[bin]) = im(m_spectrum[mirror]) = 0.0F;
}

HeapAlignedArray<float> MinimumPhase::impulseResponse() noexcept {
    auto h = HeapAlignedArray<float>::make(m_tapCount);
    if (!h) {
        return h;
    }
    m_backward.execute();
    foldCepstrum();
    m_forward.execute();
    takeExponential();
    m_backward.execute();
    const auto binCount = 2.0F * static_cast<float>(m_tapCount);
    for (std::size_t n = 0; n < m_tapCount; ++n) {
        const float phase = 2.0F * std::numbers::pi_v<float> * static_cast<float>(n) / binCount;
        const float window = (std::cos(phase) + 1.0F) * 0.5F;
        h[n] = re(m_time[n]) / binCount * window;
    }
    return h;
}

/// Makes the cepstrum causal: what stands at negative times is added, conjugated, to the positive ones.
void MinimumPhase::foldCepstrum() noexcept {
    const std::size_t binCount = 2 * std::size_t{m_tapCount};
    const auto scale = static_cast<float>(binCount);
    re(m_time[0]) /= scale;
    im(m_time[0]) /= scale;
    for (std::size_t n = 1; n < m_tapCount; ++n) {
        fftwf_complex& late = m_time[binCount - n];
        re(m_time[n]) = re(m_time[n]) / scale + re(late) / scale;
        im(m_time[n]) = im(m_time[n]) / scale - im(late) / scale;
        re(late) = im(late) = 0.0F;
    }
    re(m_time[m_tapCount]) /= scale;
    im(m_time[m_tapCount]) /= -scale;
}

void MinimumPhase::takeExponential() noexcept {
    const std::size_t binCount = 2 * std::size_t{m_tapCount};
    for (std::size_t k = 0; k < binCount; ++k) {
        const float magnitude = std::exp(re(m_spectrum[k]));
        const float phase = im(m_spectrum[k]);
        re(m_spectrum[k]) = magnitude * std::cos(phase);
        im(m_spectrum[k]) = magnitude * std::sin(phase);
    }
}

} // namespace tovix
