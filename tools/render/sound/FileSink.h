#pragma once

#include "render/Options.h"
#include "render/files/PendingFile.h"
#include "render/sound/SoundFile.h"
#include "render/sound/Source.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace tovix::render {

/// What the output shall be.
struct SinkFormat {
    SampleFormat samples = SampleFormat::float32;
    std::uint32_t channels = 0;
    std::uint32_t channelMask = 0;
};

/// The sound file that is written. Its kind follows the name's ending, else the input's kind.
class FileSink {
public:
    /// Throws RenderError when the file cannot be written or its kind does not take such sound.
    FileSink(const std::string& path, const SourceFormat& source, const SinkFormat& format);

    [[nodiscard]] const std::string& kind() const noexcept { return m_kind; }

    /// Writes interleaved frames. Throws RenderError.
    void write(const float* samples, std::size_t frameCount);

    /// Completes the file under its final name. Throws RenderError.
    void commit();

private:
    std::string m_name;
    std::string m_kind;
    PendingFile m_pending;
    SoundFile m_file;
};

} // namespace tovix::render
