#include "render/sound/FileSink.h"

#include "render/files/ProgramEnd.h"
#include "render/sound/SpeakerMask.h"

namespace tovix::render {

FileSink::FileSink(const std::string& name, const SourceFormat& source, const SinkFormat& format)
    : m_name(name), m_info(chooseOutputKind(name, source, format)), m_pending(name),
      m_file(openSoundFile(m_pending.path(), SFM_WRITE, m_info)) {
    if (!m_file) {
        throw RenderError(ExitStatus::unwritableOutput,
                          "the output " + name + " cannot be written: " + soundError(nullptr) + ".");
    }
    sf_command(m_file.get(), SFC_SET_CLIPPING, nullptr, SF_TRUE);
    // This chunk holds the time of day, but the same run should give the same file.
    sf_command(m_file.get(), SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
    auto channelMap = channelMapOf(format.channelMask, format.channels);
    if (!channelMap.empty()) {
        sf_command(m_file.get(), SFC_SET_CHANNEL_MAP_INFO, channelMap.data(),
                   static_cast<int>(channelMap.size() * sizeof(int)));
    }
}

void FileSink::write(const float* samples, std::size_t frameCount) {
    const auto count = static_cast<sf_count_t>(frameCount);
    if (sf_writef_float(m_file.get(), samples, count) != count) {
        throw RenderError(ExitStatus::unwritableOutput, "the output " + m_name + " cannot be written any further: " +
                                                            soundError(m_file.get()) + ".");
    }
}

void FileSink::commit() {
    if (sf_close(m_file.release()) != SF_ERR_NO_ERROR) {
        throw RenderError(ExitStatus::unwritableOutput, "the output " + m_name + " could not be completed.");
    }
    m_pending.commit();
}

} // namespace tovix::render
