#pragma once

#include <xmmintrin.h>

namespace tovix {

/// [audio] While it lives, this thread's denormal operands and results count as zero. Without it, decaying filters
/// slow down on them. Restores the thread's control word, status flags included.
class DenormalsOff {
public:
    [[gnu::always_inline]] DenormalsOff() noexcept : m_before(_mm_getcsr()) {
        constexpr unsigned flushToZero = 0x8000;
        constexpr unsigned denormalsAreZero = 0x0040;
        _mm_setcsr(m_before | flushToZero | denormalsAreZero);
    }
    [[gnu::always_inline]] ~DenormalsOff() { _mm_setcsr(m_before); }
    DenormalsOff(const DenormalsOff&) = delete;
    DenormalsOff& operator=(const DenormalsOff&) = delete;

private:
    unsigned m_before;
};

} // namespace tovix
