#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace tovix::render {

/// What the input is.
struct SourceFormat {
    std::uint32_t sampleRateHz = 0;
    std::uint32_t channels = 0;
    /// Speakers as the file names them, else the usual ones for the count, else 0.
    std::uint32_t channelMask = 0;
    std::uint64_t frames = 0;
    /// Name and kind, for the report.
    std::string name;
    std::string kind;
    /// libsndfile's format word.
    int fileFormat = 0;
};

/// Interleaved sound, read once from front to back. [control]
class ISource {
public:
    virtual ~ISource() = default;
    [[nodiscard]] virtual const SourceFormat& format() const noexcept = 0;
    /// Reads up to `frameCount` frames and returns their number; fewer only at the end. Throws RenderError.
    virtual std::size_t read(float* samples, std::size_t frameCount) = 0;
};

/// [control] Opens a sound file. Throws RenderError when it is unreadable, holds nothing, or has a rate or channel
/// count that the effect does not take.
std::unique_ptr<ISource> openFile(const std::string& path);

/// [control] The first channels of a source, which has as many or more, with the usual speakers for their count.
std::unique_ptr<ISource> takeFirstChannels(std::unique_ptr<ISource> source, std::uint32_t channels);

} // namespace tovix::render
