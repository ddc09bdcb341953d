#include "kernels/InstructionSet.h"

namespace tovix {

InstructionSet widestInstructionSet() noexcept {
    // The compiler's run-time library also asks whether the system saves the wide registers.
    __builtin_cpu_init();
    if (!__builtin_cpu_supports("avx2") || !__builtin_cpu_supports("fma")) {
        return InstructionSet::baseline;
    }
    const bool hasAvx512 =
        __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512dq");
    return hasAvx512 ? InstructionSet::avx512 : InstructionSet::avx2;
}

} // namespace tovix
