#pragma once

#include "render/files/PendingFile.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace tovix::render {

/// Shape and length of what is traced.
struct TraceFormat {
    std::uint32_t sampleRateHz = 0;
    std::uint32_t inputChannels = 0;
    std::uint32_t outputChannels = 0;
    std::uint32_t blockFrames = 0;
    /// Of the whole sound.
    std::uint64_t frames = 0;
};

/// Writes the levels before and after the effect over time: one row per 50 ms, or per 2000th of a long sound,
/// rounded up to whole blocks, with the highest sample and the root mean square of all channels, in dB of full scale
/// and not below -150, and the limiter's strongest reduction (empty where it was not measured). [control]
class LevelTrace {
public:
    /// Throws RenderError when the file cannot be written.
    LevelTrace(const std::string& name, const TraceFormat& format);

    /// One block of interleaved samples; `reductionDb` is the limiter's strongest reduction in it, if measured.
    void addBlock(const float* input, const float* output, std::size_t frameCount, std::optional<double> reductionDb);

    /// Completes the file under its final name. Throws RenderError.
    void commit();

private:
    struct Level {
        double peak = 0.0;
        double squares = 0.0;
        void add(const float* samples, std::size_t count);
    };

    void writeRow();

    TraceFormat m_format;
    std::uint64_t m_rowFrames;
    PendingText m_file;
    std::uint64_t m_framesBefore = 0;
    std::uint64_t m_frames = 0;
    Level m_input;
    Level m_output;
    std::optional<double> m_reductionDb;
};

} // namespace tovix::render
