#pragma once

#include "filters/IFilter.h"
#include "filters/PeakWindow.h"
#include "kernels/Kernels.h"
#include "memory/RtSection.h"

#include <cstddef>
#include <cstdint>

namespace tovix {

/// A limiter that turns the level down instead of bending the waveform. Without any latency: the gain falls at once.
///
/// A pre-gain, then one gain for all channels. The frame's peak is that of its channels; the *need* is the gain that
/// brings the largest peak of the last 25 ms down to the ceiling, at most 1. As these are more than half a period of
/// any tone from 20 Hz on, the need of a steady sound stands still. The gain falls to the need at once and rises
/// exponentially towards the lesser of the need and a slow second gain:
///
/// - A reduction no longer than a single peak's leaves the slow gain alone, and the gain is back soon after it.
/// - One that lasts is a dense programme's. The slow gain falls to its need and rises so slowly that the gain hardly
///   moves between one peak and the next.
///
/// Two linked stages of different speed are an old remedy against the pumping of a compressor; see D. Giannoulis, M.
/// Massberg, J. D. Reiss, "Digital Dynamic Range Compressor Design", J. Audio Eng. Soc. 60 (2012). The output depends
/// on the samples alone, not on where one block ends and the next begins. Any channel count.
class EffectMaximizer final : public IFilter {
public:
    /// [control] Both in tenths of a dB and held within their limits (`maxMaximizerTenths`, `minCeilingTenths`): the
    /// pre-gain, and the ceiling relative to full scale.
    EffectMaximizer(std::int32_t level, std::int32_t ceiling) noexcept;

    /// [control] Any channel count; `maxFrames` does not matter. A rate that is not a positive number counts as 44100
    /// Hz, one above `maxSampleRateHz` as that. Without memory for the window the sound passes as it is.
    ChannelList setup(float sampleRateHz, std::uint32_t maxFrames, ChannelList channels) override;

    /// [audio] Works on `inputs`, which are the outputs too. Never above the ceiling, but for the rounding to a
    /// float. A sample that is not finite plays as silence and leaves no trace.
    void process(float** outputs, float** inputs, std::uint32_t frameCount) noexcept override RT_SECTION;

    /// [control]
    [[nodiscard]] FilterPtr standIn() const noexcept override;

private:
    /// The gain's way to its goal.
    struct Glide {
        /// The lesser of need and slow gain, as of the last frame.
        double goal = 1.0;
        /// How far the gain is below it.
        double distance = 0.0;
        /// How far it was at the start of the current run of frames, whose end is a new goal or `runFrames`, and how
        /// many of the run's frames have passed.
        double startDistance = 0.0;
        std::size_t framesSinceStart = 0;

        /// [audio] The gain stays where it is, unless that is above the new goal.
        [[gnu::always_inline]] void moveTo(double newGoal) noexcept;
    };

    [[nodiscard]] bool passesPlainly(float peak) const noexcept RT_SECTION;
    void limitPiece(float* const* channels, std::size_t first, std::size_t count) noexcept RT_SECTION;
    void gainsFor(const float* maxima, double* gains, std::size_t count) noexcept RT_SECTION;
    [[nodiscard, gnu::always_inline]] double needFor(float peak) const noexcept;
    void finishSegment() noexcept RT_SECTION;

    /// Frames of release that are worked out from one distance.
    static constexpr std::size_t runFrames = 32;

    double m_preGain;
    double m_ceiling;
    const Kernels* m_pKernels = &kernels();
    std::size_t m_channelCount = 0;
    PeakWindow m_window;
    bool m_ready = false;

    /// What is left of the distance to the gain's goal after 1 to `runFrames` frames of release.
    double m_remaining[runFrames]{};
    /// Share of its distance by which the slow gain falls and rises in a segment.
    double m_slowFall = 0.0;
    double m_slowRise = 0.0;
    /// Segments with a reduction after which it counts as lasting.
    std::size_t m_lastingSegments = 0;

    double m_slowGain = 1.0;
    Glide m_glide;
    /// The window's maximum as of the last frame, and its largest in the current segment.
    float m_lastMaximum = 0.0F;
    float m_segmentMaximum = 0.0F;
    /// Segments in a row with a reduction.
    std::size_t m_reducedSegments = 0;
};

} // namespace tovix
