#pragma once

#include "convolution/ConvolverEngine.h"
#include "kernels/Kernels.h"
#include "kernels/LimiterLoops.h"

namespace tovix::test {

/// For tests that force kernels, limiter loops or an engine: at its end the fastest of each are in force again.
class FastestAgain {
public:
    FastestAgain() noexcept = default;
    FastestAgain(const FastestAgain&) = delete;
    FastestAgain& operator=(const FastestAgain&) = delete;
    ~FastestAgain() {
        forceKernels(availableKernels().back()->name);
        forceLimiterLoops(availableLimiterLoops().back()->name);
        forceConvolverEngine(availableConvolverEngines().back()->name);
    }
};

} // namespace tovix::test
