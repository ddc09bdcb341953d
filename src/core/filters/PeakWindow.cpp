#include "filters/PeakWindow.h"

#include <algorithm>
#include <utility>

namespace tovix {
namespace {

/// Vectors of the loops over a segment take up to as many values.
constexpr std::size_t group = 8;

[[gnu::always_inline]] inline float larger(float a, float b) noexcept {
    return a > b ? a : b;
}

/// Of `group` values.
[[gnu::always_inline]] inline float largestOf(const float* values) noexcept {
    const float a = larger(larger(values[0], values[1]), larger(values[2], values[3]));
    const float b = larger(larger(values[4], values[5]), larger(values[6], values[7]));
    return larger(a, b);
}

/// `PeakWindow::push` for any values; returns the running maximum.
RT_SECTION float pushOneByOne(const float* values, float* maxima, float* stored, std::size_t count,
                              float running) noexcept {
    for (std::size_t f = 0; f < count; ++f) {
        const float value = values[f];
        running = larger(value, running);
        maxima[f] = larger(stored[f + 1], running);
        stored[f] = value;
    }
    return running;
}

} // namespace

bool PeakWindow::setup(std::size_t minFrames) noexcept {
    const std::size_t wanted = std::max<std::size_t>(minFrames, 1);
    const std::size_t segments = (wanted + maxSegmentFrames - 1) / maxSegmentFrames;
    const std::size_t frames = (wanted + segments * group - 1) / (segments * group) * group;
    auto values = RtArray<float>::make(segments * (frames + 1));
    auto maxima = RtArray<float>::make(segments);
    if (!values || !maxima) {
        return false;
    }
    m_values = std::move(values);
    m_segmentMaxima = std::move(maxima);
    m_segmentCount = segments;
    m_segmentFrames = frames;
    m_segment = 0;
    m_offset = 0;
    m_running = 0.0F;
    return true;
}

void PeakWindow::push(const float* values, float* maxima, std::size_t count) noexcept {
    float* stored = m_values.data() + m_segment * (m_segmentFrames + 1) + m_offset;
    std::size_t f = 0;
    for (; f + group <= count; f += group) {
        // Hardly ever is there a new maximum; where there is none, the frames do not depend on each other.
        if (largestOf(values + f) <= m_running) {
            for (std::size_t i = 0; i < group; ++i) {
                const float value = values[f + i];
                maxima[f + i] = larger(stored[f + i + 1], m_running);
                stored[f + i] = value;
            }
        } else {
            m_running = pushOneByOne(values + f, maxima + f, stored + f, group, m_running);
        }
    }
    m_running = pushOneByOne(values + f, maxima + f, stored + f, count - f, m_running);
    m_offset += count;
    if (m_offset == m_segmentFrames) {
        finishSegment();
    }
}

void PeakWindow::finishSegment() noexcept {
    float* const stored = m_values.data() + m_segment * (m_segmentFrames + 1);
    float largest = 0.0F;
    for (std::size_t first = m_segmentFrames; first > 0;) {
        first -= group;
        if (largestOf(stored + first) <= largest) {
            std::fill_n(stored + first, group, largest);
        } else {
            for (std::size_t f = first + group; f-- > first;) {
                largest = larger(stored[f], largest);
                stored[f] = largest;
            }
        }
    }
    m_segmentMaxima[m_segment] = largest;
    m_segment = m_segment + 1 == m_segmentCount ? 0 : m_segment + 1;
    m_offset = 0;
    // The next segment in the array leaves the window frame by frame; its values count one by one.
    m_segmentMaxima[m_segment] = 0.0F;
    m_running = 0.0F;
    for (std::size_t s = 0; s < m_segmentCount; ++s) {
        m_running = larger(m_segmentMaxima[s], m_running);
    }
}

void PeakWindow::skip(std::size_t count) noexcept {
    std::size_t offset = m_offset + count;
    while (offset >= m_segmentFrames) {
        m_segmentMaxima[m_segment] = 0.0F;
        m_segment = m_segment + 1 == m_segmentCount ? 0 : m_segment + 1;
        offset -= m_segmentFrames;
        m_running = 0.0F;
    }
    m_offset = offset;
}

} // namespace tovix
