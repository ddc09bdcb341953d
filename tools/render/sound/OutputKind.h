#pragma once

#include "render/sound/SoundSource.h"

#include <sndfile.h>

#include <cstdint>
#include <string>

namespace tovix::render {

/// How the output's samples are stored.
enum class SampleFormat {
    /// 32-bit float; in a kind of file without it, the nearest encoding that the kind has.
    float32,
    likeInput
};

/// What kind of output is wanted.
struct SinkFormat {
    SampleFormat samples = SampleFormat::float32;
    std::uint32_t channels = 0;
    std::uint32_t channelMask = 0;
};

/// [control] The kind of file that the ending of `name` stands for, ready to be opened for writing. Throws
/// RenderError (unwritableOutput) with the endings that work when there is no ending, when it is unknown, and when
/// that kind cannot hold this sound or cannot be written by libsndfile as it is linked here.
SF_INFO chooseOutputKind(const std::string& name, const SourceFormat& source, const SinkFormat& format);

} // namespace tovix::render
