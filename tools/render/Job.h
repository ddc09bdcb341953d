#pragma once

#include "render/Options.h"
#include "render/SettingsPlan.h"
#include "render/engine/Engine.h"
#include "render/sound/Source.h"

#include <memory>

namespace tovix::render {

/// What a run is about, checked as far as that goes without writing anything.
struct Job {
    const Options& options;
    SettingsPlan plan;
    /// The sound that the effect is fed: of a file with more channels than the effect takes, the first ones.
    std::unique_ptr<ISource> source;
    /// The sound as it lies in the file.
    SourceFormat sound;
    EngineFormat format;
};

/// Throws RenderError. `options` must outlive the job.
Job prepareJob(const Options& options);

/// Number of the first block that begins at or after the moment.
double blockOf(double seconds, const EngineFormat& format);

} // namespace tovix::render
