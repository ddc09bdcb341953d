#include "convolution/FftPlan.h"

#include "convolution/PlannerLock.h"

#include <fftw3.h>

#include <type_traits>

namespace tovix {
namespace {

static_assert(std::is_same_v<ComplexBin, fftwf_complex> && std::is_same_v<fftwf_plan, fftwf_plan_s*>);

fftwf_plan planComplex(int length, ComplexBin* input, ComplexBin* output, int sign) noexcept {
    const PlannerHold hold;
    return fftwf_plan_dft(1, &length, input, output, sign, FFTW_ESTIMATE);
}

} // namespace

FftPlan FftPlan::realForward(int halfLength, float* time, ComplexBin* spectrum) noexcept {
    const int length = 2 * halfLength;
    const PlannerHold hold;
    return FftPlan{fftwf_plan_dft_r2c(1, &length, time, spectrum, FFTW_ESTIMATE | FFTW_PRESERVE_INPUT)};
}

FftPlan FftPlan::realBackward(int halfLength, ComplexBin* spectrum, float* time) noexcept {
    const int length = 2 * halfLength;
    const PlannerHold hold;
    return FftPlan{fftwf_plan_dft_c2r(1, &length, spectrum, time, FFTW_ESTIMATE)};
}

FftPlan FftPlan::complexForward(int length, ComplexBin* input, ComplexBin* output) noexcept {
    return FftPlan{planComplex(length, input, output, FFTW_FORWARD)};
}

FftPlan FftPlan::complexBackward(int length, ComplexBin* input, ComplexBin* output) noexcept {
    return FftPlan{planComplex(length, input, output, FFTW_BACKWARD)};
}

void FftPlan::execute() const noexcept {
    fftwf_execute(m_pPlan.get());
}

void FftPlan::Destroy::operator()(fftwf_plan_s* pPlan) const noexcept {
    const PlannerHold hold;
    fftwf_destroy_plan(pPlan);
}

} // namespace tovix
