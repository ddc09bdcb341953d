#pragma once

#include "render/sound/SoundSource.h"

#include <sndfile.h>

#include <cstdint>
#include <string>

namespace tovix::render {

/// How the output's samples are stored.
enum class SampleFormat { float32, likeInput };

/// What the output shall be.
struct SinkFormat {
    SampleFormat samples = SampleFormat::float32;
    std::uint32_t channels = 0;
    std::uint32_t channelMask = 0;
};

/// [control] The kind of file that the ending of `name` stands for, or else the input's. Throws RenderError
/// (unwritableOutput) when it cannot hold this sound.
SF_INFO chooseOutputKind(const std::string& name, const SourceFormat& source, const SinkFormat& format);

} // namespace tovix::render
