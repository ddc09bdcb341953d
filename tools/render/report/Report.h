#pragma once

#include "render/engine/Engine.h"
#include "render/engine/SettingsPlan.h"
#include "render/measure/LimiterProbe.h"
#include "render/measure/Loudness.h"
#include "render/sound/SoundSource.h"

#include <cstdint>
#include <string>

namespace tovix::render {

/// Everything that a run reports. A plain record, for any thread.
struct Report {
    SourceFormat source;
    std::string outputName;
    std::string outputKind;
    EngineFormat format;
    SettingsPlan settings;
    /// Of the channels that the effect was fed.
    LoudnessFigures before;
    LoudnessFigures after;
    LimiterActivity limiter;
    std::string effect;
    EngineStatistics engine;

    std::uint64_t frames = 0;
    /// The effect's own time, over all blocks.
    double effectSeconds = 0.0;
    double meanBlockMicroseconds = 0.0;
    double worstBlockMicroseconds = 0.0;
    /// When in the sound the worst block was.
    double worstBlockAtSeconds = 0.0;
    /// From the first block to the last, with reading, measuring and writing.
    double runSeconds = 0.0;

    [[nodiscard]] double soundSeconds() const { return static_cast<double>(frames) / format.sampleRateHz; }
};

} // namespace tovix::render
