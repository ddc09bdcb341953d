#include "filters/MinimumPhase.h"

#include "filters/Decibels.h"
#include "text/Limits.h"

#include <cmath>
#include <complex>
#include <numbers>

namespace tovix {
namespace {

float& re(ComplexBin& value) noexcept {
    return value[0];
}

float& im(ComplexBin& value) noexcept {
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
    design.m_time = HeapArray<ComplexBin>::make(binCount);
    design.m_spectrum = HeapArray<ComplexBin>::make(binCount);
    if (design.m_time && design.m_spectrum) {
        design.m_forward = FftPlan::complexForward(length, design.m_time.data(), design.m_spectrum.data());
        design.m_backward = FftPlan::complexBackward(length, design.m_spectrum.data(), design.m_time.data());
    }
    return design;
}

/// The cepstrum wants the magnitude's natural logarithm, which is the gain in nepers: the way through the magnitude
/// itself would cost a power and a logarithm, which are the slowest functions of the Windows toolchain.
void MinimumPhase::setMagnitude(std::size_t bin, double gainDb) noexcept {
    const std::size_t mirror = 2 * std::size_t{m_tapCount} - 1 - bin;
    // In this order, so that what is not a number becomes the floor.
    const double flooredDb = gainDb > minEqualizerGainDb ? gainDb : minEqualizerGainDb;
    const auto logarithm = static_cast<float>(flooredDb * nepersPerDecibel);
    re(m_spectrum[bin]) = re(m_spectrum[mirror]) = logarithm;
    im(m_spectrum[bin]) = im(m_spectrum[mirror]) = 0.0F;
}

HeapArray<float> MinimumPhase::impulseResponse() noexcept {
    auto h = HeapArray<float>::make(m_tapCount);
    if (!h) {
        return h;
    }
    m_backward.execute();
    foldCepstrum();
    m_forward.execute();
    takeExponential();
    m_backward.execute();
    const double binCount = 2.0 * m_tapCount;
    const std::complex<double> step = std::polar(1.0, 2.0 * std::numbers::pi / binCount);
    std::complex<double> turn = 1.0;
    for (std::size_t n = 0; n < m_tapCount; ++n) {
        const double window = (turn.real() + 1.0) * 0.5;
        h[n] = static_cast<float>(re(m_time[n]) / binCount * window);
        turn *= step;
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
        ComplexBin& late = m_time[binCount - n];
        re(m_time[n]) = re(m_time[n]) / scale + re(late) / scale;
        im(m_time[n]) = im(m_time[n]) / scale - im(late) / scale;
        re(late) = im(late) = 0.0F;
    }
    re(m_time[m_tapCount]) /= scale;
    im(m_time[m_tapCount]) /= -scale;
}

/// In double precision, because the last bit of the single-precision functions is another on every platform, and so
/// would be the filter.
void MinimumPhase::takeExponential() noexcept {
    const std::size_t binCount = 2 * std::size_t{m_tapCount};
    for (std::size_t k = 0; k < binCount; ++k) {
        const double magnitude = std::exp(double{re(m_spectrum[k])});
        const double phase = im(m_spectrum[k]);
        re(m_spectrum[k]) = static_cast<float>(magnitude * std::cos(phase));
        im(m_spectrum[k]) = static_cast<float>(magnitude * std::sin(phase));
    }
}

} // namespace tovix
