#pragma once

#include "memory/AlignedArray.h"

#include <cstddef>

namespace tovix {

/// A table of spectra in split form: for each row one array of real and one of imaginary parts, all in one
/// allocation, zeroed when it is made. The arrays lie one after the other, so that a walk over the rows is a walk
/// through memory, at a distance at which the loads of one do not wait for the stores of its neighbours.
struct SpectrumRows {
    RtArray<float> bins;
    RtArray<float*> re;
    RtArray<float*> im;

    /// [control] `rowCount` rows of `binCount` bins each; empty (`!*this`) when there is no memory.
    static SpectrumRows make(std::size_t rowCount, std::size_t binCount) noexcept;

    /// Any thread: whether there is a table.
    explicit operator bool() const noexcept { return bins && re && im; }
};

} // namespace tovix
