#pragma once

#include "memory/AlignedArray.h"
#include "memory/RtSection.h"

#include <cstddef>

namespace tovix {

/// The largest of the last `windowFrames()` values, frame by frame.
///
/// The window is a whole number of segments. A finished segment keeps, in place of its values, the largest from each
/// of them to the segment's end, so that the part of it which is still in the window is one value; the segments
/// between are one value together. What a frame costs does not depend on the values or on the length of the window;
/// the end of a segment costs one pass over it and one over the segments' maxima. After van Herk, "A fast algorithm
/// for local minimum and maximum filters on rectangular and octagonal kernels", Pattern Recognition Letters 13
/// (1992), with segments shorter than the window, so that no frame has to wait for a pass over the whole of it.
class PeakWindow {
public:
    /// [control] Empties the window and makes it at least `minFrames` long, by less than 8 frames a segment longer.
    /// False, and nothing to be called but this, when there is no memory.
    bool setup(std::size_t minFrames) noexcept;

    /// Any thread, as these do not change: the window's length and that of a segment, a multiple of 8 of at most
    /// `maxSegmentFrames`.
    [[nodiscard]] std::size_t windowFrames() const noexcept { return m_segmentCount * m_segmentFrames; }
    [[nodiscard, gnu::always_inline]] std::size_t segmentFrames() const noexcept { return m_segmentFrames; }
    static constexpr std::size_t maxSegmentFrames = 128;

    /// [audio] Frames from the start of the current segment to the next frame.
    [[nodiscard, gnu::always_inline]] std::size_t offset() const noexcept { return m_offset; }

    /// [audio] Takes `count` values, not negative, no more than the current segment has room for, and stores for each
    /// the largest of the window that ends with it; both may be the same array.
    void push(const float* values, float* maxima, std::size_t count) noexcept RT_SECTION;

    /// [audio] Moves on by as many frames without looking at their values, as if each were one of the values in the
    /// window. For a caller to whom all values up to some bound are the same, while nothing above it is in the
    /// window.
    void skip(std::size_t count) noexcept RT_SECTION;

private:
    void finishSegment() noexcept RT_SECTION;

    /// Segments one after the other, each with a 0 behind it.
    RtArray<float> m_values;
    RtArray<float> m_segmentMaxima;
    std::size_t m_segmentCount = 0;
    std::size_t m_segmentFrames = 0;
    std::size_t m_segment = 0;
    std::size_t m_offset = 0;
    /// Of the current segment so far and of all that lie wholly in the window.
    float m_running = 0.0F;
};

} // namespace tovix
