#pragma once

#include "convolution/VectorLoops.h"
#include "memory/AlignedArray.h"
#include "memory/RtSection.h"

#include <cstddef>
#include <cstdint>

namespace tovix {

/// The transform behind the right-angle circular convolution (Nussbaumer): blocks of B real samples, multiplied by
/// e^(i * pi * n / 2N), go through a complex transform of N >= B points. The product of two such spectra transforms
/// back to the linear convolution of the blocks, its first N samples in the real part and the next N in the imaginary
/// one. No zeros are appended, no bin is special, and any B will do, primes too.
///
/// N is B rounded up to whole vectors whose number has no prime factor but 2, 3 and 5. Bins stay in the order in
/// which the passes leave them. Unnormalised: a transform and its inverse multiply by N.
class RightAngleTransform {
public:
    /// [control] An empty one.
    RightAngleTransform() noexcept = default;

    /// [control] For blocks of `blockFrames`, at least 1; empty (`!*this`) when there is no memory.
    static RightAngleTransform make(const VectorLoops& loops, std::size_t blockFrames) noexcept;

    // [audio] for what is forced inline, as it becomes part of a caller in the real-time section; the rest is
    // [control].
    [[gnu::always_inline]] explicit operator bool() const noexcept {
        return m_radices && m_weights && m_twiddles && m_restIn && m_restOut;
    }

    [[nodiscard, gnu::always_inline]] std::size_t rowCount() const noexcept { return m_tables.rowCount; }
    /// N.
    [[nodiscard, gnu::always_inline]] std::size_t pointCount() const noexcept {
        return m_tables.rowCount * m_pLoops->lanes;
    }
    /// Floats of a spectrum, and of the space that the passes work in.
    [[nodiscard]] std::size_t spectrumFloats() const noexcept { return 2 * pointCount(); }
    /// Overlaps that a channel needs, and the floats of each. Where vectors fill the block each value of the new
    /// overlap takes the place of one that has just been used; elsewhere the two lie apart.
    [[nodiscard, gnu::always_inline]] std::size_t overlapCount() const noexcept {
        return pointCount() == m_blockFrames ? 1 : 2;
    }
    [[nodiscard, gnu::always_inline]] std::size_t overlapFloats() const noexcept {
        return m_pLoops->lanes + 2 * pointCount() - m_blockFrames;
    }

    /// [audio] The passes down the columns, of a block of samples into `work`. Not on two threads at once.
    void forwardColumns(const float* samples, float* work) const noexcept RT_SECTION;

    /// [control] The whole spectrum of a block, by way of `work`: row r to `spectrum` + r * `strideFloats`.
    void forward(const float* samples, float* work, float* spectrum, std::size_t strideFloats) const noexcept;

    /// [audio] From rows that were transformed across the lanes back to samples, by overlap-add: the rest of the
    /// block before is added to the block's samples, and its own rest left for the next.
    void inverseColumns(float* work, float* samples, const float* overlapBefore,
                        float* overlap) const noexcept RT_SECTION;

    // A block whose passes are done in parts, `steps` of those that follow each other; the results are the same. Its
    // samples are at both ends in buffers of N floats: zeros follow those that go in, and what follows those that
    // come out means nothing.

    /// Of either way.
    [[nodiscard, gnu::always_inline]] std::size_t columnSteps() const noexcept {
        return m_tables.passCount * m_tables.rowCount;
    }
    /// [audio] As `forwardColumns`.
    void forwardPart(const ColumnSteps& steps, const float* samples, float* work) const noexcept RT_SECTION;
    /// [audio] As `inverseColumns`.
    void inversePart(const ColumnSteps& steps, float* work, float* samples, const float* overlapBefore,
                     float* overlap) const noexcept RT_SECTION;

private:
    void factorise() noexcept;
    bool fillTables() noexcept;

    const VectorLoops* m_pLoops = nullptr;
    std::size_t m_blockFrames = 0;
    TransformTables m_tables{};
    RtArray<std::uint8_t> m_radices;
    RtArray<float> m_weights;
    RtArray<float> m_twiddles;
    /// The rows that a block does not fill: what is left of its samples, then zeros; and what is left of the results.
    RtArray<float> m_restIn;
    RtArray<float> m_restOut;
};

} // namespace tovix
