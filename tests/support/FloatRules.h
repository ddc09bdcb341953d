#pragma once

#include <cstdint>
#include <xmmintrin.h>

namespace tovix::test {

/// How a thread computes: the control words of its two floating-point units, the flags of the first in it.
struct FloatRules {
    std::uint32_t vector;
    std::uint16_t x87;

    static FloatRules now() {
        FloatRules rules{_mm_getcsr(), 0};
        asm volatile("fnstcw %0" : "=m"(rules.x87));
        return rules;
    }
    void enforce() const {
        asm volatile("fnclex\n\tfldcw %0" : : "m"(x87));
        _mm_setcsr(vector);
    }
    bool operator==(const FloatRules&) const = default;
};

/// Those that a caller may have: as usual; denormals as zero; every exception unmasked; rounding down, up and towards
/// zero, with less precision.
constexpr FloatRules callersRules[] = {{0x1F80, 0x037F}, {0x9FC0, 0x027F}, {0x0000, 0x0340},
                                       {0x3F80, 0x077F}, {0x5FBF, 0x087F}, {0x6000, 0x0F40}};

} // namespace tovix::test
