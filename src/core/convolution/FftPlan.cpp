#include "convolution/FftPlan.h"

#include <fftw3.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <type_traits>

namespace tovix {
namespace {

static_assert(std::is_same_v<ComplexBin, fftwf_complex> && std::is_same_v<fftwf_plan, fftwf_plan_s*>);

/// The lock around FFTW's planner. It naps instead of blocking: plans take milliseconds and meet rarely, and a mutex
/// of the Windows toolchain allocates when it is first locked, by exception if it cannot. A nap, unlike a yield, also
/// lets a holder of lower priority go on.
class PlannerLock {
public:
    PlannerLock() noexcept {
        while (busy.test_and_set(std::memory_order_acquire)) {
            std::this_thread::sleep_for(std::chrono::milliseconds{1});
        }
    }
    ~PlannerLock() { busy.clear(std::memory_order_release); }
    PlannerLock(const PlannerLock&) = delete;
    PlannerLock& operator=(const PlannerLock&) = delete;

private:
    static inline std::atomic_flag busy;
};

fftwf_plan planComplex(int length, ComplexBin* input, ComplexBin* output, int sign) noexcept {
    const PlannerLock lock;
    return fftwf_plan_dft(1, &length, input, output, sign, FFTW_ESTIMATE);
}

} // namespace

FftPlan FftPlan::realForward(int halfLength, float* time, ComplexBin* spectrum) noexcept {
    const int length = 2 * halfLength;
    const PlannerLock lock;
    return FftPlan{fftwf_plan_dft_r2c(1, &length, time, spectrum, FFTW_ESTIMATE | FFTW_PRESERVE_INPUT)};
}

FftPlan FftPlan::realBackward(int halfLength, ComplexBin* spectrum, float* time) noexcept {
    const int length = 2 * halfLength;
    const PlannerLock lock;
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
    const PlannerLock lock;
    fftwf_destroy_plan(pPlan);
}

} // namespace tovix
