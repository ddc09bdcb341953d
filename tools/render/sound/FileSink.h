#pragma once

#include "render/files/PendingFile.h"
#include "render/sound/OutputKind.h"
#include "render/sound/SoundFile.h"

#include <cstddef>
#include <string>

namespace tovix::render {

/// The sound file that is written. Its kind follows the ending of its name. [control]
class FileSink {
public:
    /// Throws RenderError when the name's ending does not allow such a sound, and when the file cannot be written.
    FileSink(const std::string& name, const SourceFormat& source, const SinkFormat& format);

    /// Container and encoding, for people.
    [[nodiscard]] std::string kind() const { return formatName(m_info.format); }

    /// Writes interleaved frames. Throws RenderError.
    void write(const float* samples, std::size_t frameCount);

    /// Completes the file under its final name. Throws RenderError.
    void commit();

private:
    std::string m_name;
    SF_INFO m_info;
    PendingFile m_pending;
    SoundFile m_file;
};

} // namespace tovix::render
