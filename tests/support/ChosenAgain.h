#pragma once

#include "convolution/ConvolverEngine.h"
#include "kernels/Kernels.h"
#include "kernels/LimiterLoops.h"

#include <string>
#include <string_view>

namespace tovix::test {

/// Names the instances of a test after the kernels, loops or engine that each is run with.
inline constexpr auto byName = [](const auto& instance) { return std::string{instance.param->name}; };

/// For tests that force kernels, limiter loops or an engine: at its end those that were in force at its beginning are
/// in force again.
class ChosenAgain {
public:
    ChosenAgain() noexcept = default;
    ChosenAgain(const ChosenAgain&) = delete;
    ChosenAgain& operator=(const ChosenAgain&) = delete;
    ~ChosenAgain() {
        forceKernels(m_kernels);
        forceLimiterLoops(m_limiterLoops);
        forceConvolverEngine(m_engine);
    }

private:
    std::string_view m_kernels = kernels().name;
    std::string_view m_limiterLoops = limiterLoops().name;
    std::string_view m_engine = convolverEngine().name;
};

} // namespace tovix::test
