#include "convolution/SpectrumRows.h"

#include <algorithm>

namespace tovix {
namespace {

constexpr std::size_t vectorFloats = 4;
/// 4096 bytes: the processor compares a load with earlier stores by the address within this distance first, and a
/// load that seems to meet a store waits for it.
constexpr std::size_t pageFloats = 1024;
/// Three cache lines: the stores that are still on their way lie within the last few steps of the loop.
constexpr std::size_t apartFloats = 48;

/// Whether arrays that lie `strideFloats` apart meet modulo the page size. The kernels walk through four neighbours
/// at a time.
bool neighboursMeet(std::size_t strideFloats) noexcept {
    for (std::size_t n = 1; n < 4; ++n) {
        const std::size_t offset = n * strideFloats % pageFloats;
        if (std::min(offset, pageFloats - offset) < apartFloats) {
            return true;
        }
    }
    return false;
}

std::size_t strideFloatsFor(std::size_t binCount) noexcept {
    std::size_t stride = (binCount + vectorFloats - 1) / vectorFloats * vectorFloats;
    // Short arrays pass their neighbours too soon to meet them.
    while (stride >= apartFloats && neighboursMeet(stride)) {
        stride += vectorFloats;
    }
    return stride;
}

} // namespace

SpectrumRows SpectrumRows::make(std::size_t rowCount, std::size_t binCount) noexcept {
    const std::size_t stride = strideFloatsFor(binCount);
    SpectrumRows rows;
    rows.bins = RtArray<float>::make(2 * rowCount * stride);
    rows.re = RtArray<float*>::make(rowCount);
    rows.im = RtArray<float*>::make(rowCount);
    if (!rows) {
        return {};
    }
    for (std::size_t row = 0; row < rowCount; ++row) {
        rows.re[row] = rows.bins.data() + 2 * row * stride;
        rows.im[row] = rows.re[row] + stride;
    }
    return rows;
}

} // namespace tovix
