#include "convolution/FftPlan.h"

#include "memory/MemoryMgr.h"

#include <fftw3.h>

#include <cstddef>
#include <type_traits>

namespace tovix {
namespace {

static_assert(std::is_same_v<ComplexBin, fftwf_complex> && std::is_same_v<fftwf_plan, fftwf_plan_s*>);

/// Whether the heap has what planning a transform of `points` takes at most: FFTW's planner ends the process when it
/// is refused memory, so it is asked for beforehand and given back. Measured on both platforms for 2 to 8388608
/// points: up to 32768 points at most 324 KB, at 9602 points with their large prime factor, which needs Rader's
/// algorithm; a good part of it once per process. Beyond that up to 20 bytes a point, for the same reason.
bool hasMemoryForPlanning(int points) noexcept {
    constexpr std::size_t onceBytes = std::size_t{256} * 1024;
    constexpr std::size_t bytesPerPoint = 24;
    void* const pBlock = HeapMemory::alloc(onceBytes + bytesPerPoint * static_cast<std::size_t>(points));
    if (pBlock == nullptr) {
        return false;
    }
    HeapMemory::free(pBlock);
    return true;
}

/// What `makePlan` makes; null when there is no memory for it. Asked for under the lock, so that two set-ups do not
/// count on the same memory.
template <class MakePlan> fftwf_plan planned(int points, const MakePlan& makePlan) noexcept {
    return hasMemoryForPlanning(points) ? makePlan() : nullptr;
}

fftwf_plan planComplex(int length, ComplexBin* input, ComplexBin* output, int sign) noexcept {
    return planned(length, [&] { return fftwf_plan_dft(1, &length, input, output, sign, FFTW_ESTIMATE); });
}

} // namespace

FftPlan FftPlan::realForward(const PlannerHold& /*hold*/, int halfLength, float* time,
                             ComplexBin* spectrum) noexcept {
    const int length = 2 * halfLength;
    return FftPlan{planned(
        length, [&] { return fftwf_plan_dft_r2c(1, &length, time, spectrum, FFTW_ESTIMATE | FFTW_PRESERVE_INPUT); })};
}

FftPlan FftPlan::realBackward(const PlannerHold& /*hold*/, int halfLength, ComplexBin* spectrum,
                              float* time) noexcept {
    const int length = 2 * halfLength;
    return FftPlan{planned(length, [&] { return fftwf_plan_dft_c2r(1, &length, spectrum, time, FFTW_ESTIMATE); })};
}

FftPlan FftPlan::complexForward(const PlannerHold& /*hold*/, int length, ComplexBin* input,
                                ComplexBin* output) noexcept {
    return FftPlan{planComplex(length, input, output, FFTW_FORWARD)};
}

FftPlan FftPlan::complexBackward(const PlannerHold& /*hold*/, int length, ComplexBin* input,
                                 ComplexBin* output) noexcept {
    return FftPlan{planComplex(length, input, output, FFTW_BACKWARD)};
}

void FftPlan::destroy(const PlannerHold& /*hold*/) noexcept {
    fftwf_plan_s* const pPlan = m_pPlan.release();
    if (pPlan != nullptr) {
        fftwf_destroy_plan(pPlan);
    }
}

void FftPlan::execute() const noexcept {
    fftwf_execute(m_pPlan.get());
}

void FftPlan::Destroy::operator()(fftwf_plan_s* pPlan) const noexcept {
    const PlannerHold hold;
    fftwf_destroy_plan(pPlan);
}

} // namespace tovix
