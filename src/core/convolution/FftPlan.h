#pragma once

#include "convolution/PlannerLock.h"
#include "memory/RtSection.h"

#include <memory>

// FFTW's own names, so that its header stays out of this one and FFTW a private dependency.
struct fftwf_plan_s;

namespace tovix {

/// A complex value as FFTW has it: real part, imaginary part.
using ComplexBin = float[2];

/// One planned transform between two buffers of its own choice, which it borrows for life; unnormalised. Plans are
/// made under the process's planner lock, which the caller holds so that it is taken once for all plans of a set-up;
/// executing them needs no lock.
///
/// Plans are estimated, never measured, and no wisdom is read or written: the same length gives the same plan.
class FftPlan {
public:
    /// [control] No plan.
    FftPlan() noexcept = default;

    /// [control] Real to half-complex: 2 * `halfLength` floats of `time` to `halfLength` + 1 bins of `spectrum`; the
    /// input survives. Empty (`!*this`) when FFTW makes no plan or there is no memory for planning, as for all four.
    static FftPlan realForward(const PlannerHold& hold, int halfLength, float* time, ComplexBin* spectrum) noexcept;

    /// [control] The inverse of `realForward`, which destroys `spectrum`: a plan that preserves it would allocate in
    /// every execute.
    static FftPlan realBackward(const PlannerHold& hold, int halfLength, ComplexBin* spectrum, float* time) noexcept;

    /// [control] Complex transforms of `length` points out of place, with e^(-i...) and e^(+i...).
    static FftPlan complexForward(const PlannerHold& hold, int length, ComplexBin* input,
                                  ComplexBin* output) noexcept;
    static FftPlan complexBackward(const PlannerHold& hold, int length, ComplexBin* input,
                                   ComplexBin* output) noexcept;

    /// Any thread: whether there is a plan.
    explicit operator bool() const noexcept { return m_pPlan != nullptr; }

    /// [control] Destroys the plan under the lock that the caller holds. A plan that is left to its destructor takes
    /// the lock itself, and so must not end inside a hold.
    void destroy(const PlannerHold& hold) noexcept;

    /// [audio] Transforms the buffers' content.
    void execute() const noexcept RT_SECTION;

private:
    struct Destroy {
        void operator()(fftwf_plan_s* pPlan) const noexcept;
    };
    explicit FftPlan(fftwf_plan_s* pPlan) noexcept : m_pPlan(pPlan) {}

    std::unique_ptr<fftwf_plan_s, Destroy> m_pPlan;
};

} // namespace tovix
