#pragma once

#include "render/Options.h"
#include "render/engine/Engine.h"
#include "render/engine/SettingsPlan.h"
#include "render/sound/SoundSource.h"

#include <memory>

namespace tovix::render {

/// What is to be rendered, checked as far as possible without writing anything.
struct Job {
    const Options& options;
    SettingsPlan plan;
    /// What the effect is fed: of a file with more channels than the effect takes, the first ones.
    std::unique_ptr<ISource> source;
    /// The sound as it is in the file.
    SourceFormat sound;
    EngineFormat format;
};

/// [control] Throws RenderError. `options` must outlive the job.
Job prepareJob(const Options& options);

/// [control] Number of the first block that begins at or after the moment.
double blockOf(double seconds, const EngineFormat& format);

} // namespace tovix::render
