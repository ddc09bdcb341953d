#pragma once

#include "render/Job.h"
#include "render/files/ProgramEnd.h"
#include "render/measure/BlockTiming.h"
#include "render/measure/LevelTrace.h"
#include "render/measure/LimiterProbe.h"
#include "render/measure/Loudness.h"
#include "render/report/Report.h"
#include "render/report/ResponseReport.h"
#include "render/sound/FileSink.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace tovix::render {

/// One job while it is done: reads, lets the engine process, measures and writes, block by block. No output appears
/// under its name before all are complete. [control]
class Rendering {
public:
    /// Opens the outputs. Throws RenderError.
    explicit Rendering(Job job);

    /// Does the job and returns what happened. To be called once. Throws RenderError.
    Report perform();

private:
    void playSound();
    void playBlock(std::size_t frameCount);
    /// Announces the changes whose moment has come, and lets the engine and the limiter's measurement take them up.
    void applyChanges();
    /// Waits, where that is wanted, until what has been played would have been heard.
    void keepPace() const;
    void commit();
    [[nodiscard]] Report report() const;

    using Clock = BlockTiming::Clock;

    Job m_job;
    Interruption m_interruption;
    FileSink m_sink;
    std::optional<ResponseReport> m_response;
    std::optional<LevelTrace> m_levels;

    std::unique_ptr<IEngine> m_engine;
    LimiterProbe m_limiter;
    Loudness m_before;
    Loudness m_after;
    BlockTiming m_timing;
    std::vector<float> m_input;
    std::vector<float> m_output;
    /// How many changes have been announced, and how many rebuilds the limiter's measurement has followed.
    std::size_t m_changesAnnounced = 0;
    std::uint32_t m_rebuildsFollowed = 0;
    std::uint64_t m_frames = 0;
    Clock::time_point m_playingSince;
    double m_runSeconds = 0.0;
};

} // namespace tovix::render
