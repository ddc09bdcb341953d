#include "filters/MinimumPhase.h"

#include "convolution/UnitCircle.h"
#include "filters/Decibels.h"
#include "filters/Elementary.h"
#include "text/Limits.h"

#include <complex>

namespace tovix {
namespace {

void set(ComplexBin& bin, std::complex<double> value) noexcept {
    bin[0] = static_cast<float>(value.real());
    bin[1] = static_cast<float>(value.imag());
}

} // namespace

MinimumPhase MinimumPhase::make(std::uint32_t tapCount) noexcept {
    MinimumPhase design;
    if (tapCount == 0 || tapCount > maxTapCount) {
        return design;
    }
    const auto length = static_cast<int>(tapCount);
    design.m_tapCount = tapCount;
    design.m_time = HeapArray<ComplexBin>::make(tapCount);
    design.m_spectrum = HeapArray<ComplexBin>::make(tapCount);
    design.m_weights = HeapArray<ComplexBin>::make(tapCount);
    if (design.m_time && design.m_spectrum && design.m_weights && design.fillWeights()) {
        const PlannerHold hold;
        design.m_forward = FftPlan::complexForward(hold, length, design.m_time.data(), design.m_spectrum.data());
        design.m_backward = FftPlan::complexBackward(hold, length, design.m_spectrum.data(), design.m_time.data());
    }
    return design;
}

MinimumPhase::~MinimumPhase() {
    if (m_forward || m_backward) {
        const PlannerHold hold;
        m_forward.destroy(hold);
        m_backward.destroy(hold);
    }
}

bool MinimumPhase::fillWeights() noexcept {
    const UnitCircle circle = UnitCircle::make(4 * std::size_t{m_tapCount});
    if (!circle) {
        return false;
    }
    for (std::size_t n = 0; n < m_tapCount; ++n) {
        set(m_weights[n], circle.root(n));
    }
    return true;
}

/// The cepstrum needs the magnitude's natural logarithm, which is the gain in nepers. Computing the magnitude first
/// would cost a power and a logarithm.
void MinimumPhase::setMagnitude(std::size_t bin, double gainDb) noexcept {
    // Of a bin and its mirror, the one with an even number.
    const std::size_t mirror = 2 * std::size_t{m_tapCount} - 1 - bin;
    const std::size_t even = bin % 2 == 0 ? bin : mirror;
    // In this order, so that NaN becomes the floor.
    const double flooredDb = gainDb > minEqualizerGainDb ? gainDb : minEqualizerGainDb;
    set(m_spectrum[even / 2], flooredDb * nepersPerDecibel);
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
    for (std::size_t n = 0; n < m_tapCount; ++n) {
        // One factor turns the signal back by half a sample, which leaves its real part. The other two are the
        // window, the square of the same cosine.
        const double cosine = m_weights[n][0];
        h[n] = static_cast<float>(signalAt(n) * cosine * (cosine * cosine));
    }
    return h;
}

double MinimumPhase::signalAt(std::size_t n) const noexcept {
    const ComplexBin& value = m_time[n];
    const ComplexBin& weight = m_weights[n];
    return (double{value[0]} * weight[0] - double{value[1]} * weight[1]) / m_tapCount;
}

/// Makes the cepstrum causal: the values at negative times are conjugated and added to those at positive times. As
/// the logarithm is real, the two are equal.
void MinimumPhase::foldCepstrum() noexcept {
    for (std::size_t n = 0; n < m_tapCount; ++n) {
        const double folded = signalAt(n) * (n == 0 ? 1.0 : 2.0);
        set(m_time[n], {folded * m_weights[n][0], -folded * m_weights[n][1]});
    }
}

/// In double precision, because the single-precision functions differ between platforms in the last bit, and so would
/// the filters.
void MinimumPhase::takeExponential() noexcept {
    for (std::size_t k = 0; k < m_tapCount; ++k) {
        set(m_spectrum[k], exponential({m_spectrum[k][0], m_spectrum[k][1]}));
    }
}

} // namespace tovix
