#pragma once

#include "memory/RtSection.h"

#include <cstdint>

/// The 128-bit set's change between interleaved and planar samples, for any number of channels: see Kernels. Four
/// channels at a time are transposed, and what is left over of them in vectors of two or one. All [audio].
namespace tovix::sse2 {

void deinterleave(const float* interleaved, float* const* channels, std::uint32_t channelCount,
                  std::uint32_t frameCount) noexcept RT_SECTION;
void interleaveFinite(const float* const* channels, float* interleaved, std::uint32_t channelCount,
                      std::uint32_t frameCount) noexcept RT_SECTION;

} // namespace tovix::sse2
