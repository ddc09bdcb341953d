#pragma once

#include "kernels/Kernels.h"
#include "memory/RtSection.h"

#include <cstddef>
#include <cstdint>

/// The plain loops over a range, for the reference kernels and for what is left over when the vectors of a wider
/// kernel do not fit. All [audio].
namespace tovix::scalar {

/// Interleaved samples of `channelCount` channels, frames `first` to `end` - 1 of them.
struct FrameRange {
    std::uint32_t channelCount;
    std::size_t first;
    std::size_t end;
};

void deinterleave(const float* interleaved, float* const* channels, FrameRange range) noexcept RT_SECTION;
void interleaveFinite(const float* const* channels, float* interleaved, FrameRange range) noexcept RT_SECTION;

/// Bins `first` to `end` - 1 of one row.
void multiplyAccumulateRow(const SpectrumProducts& products, std::size_t row, std::size_t first,
                           std::size_t end) noexcept RT_SECTION;

} // namespace tovix::scalar
