#include "render/sound/SoundSource.h"

#include "render/files/FileNames.h"
#include "render/files/ProgramEnd.h"
#include "render/sound/SoundFile.h"
#include "render/sound/SpeakerMask.h"
#include "text/Limits.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace tovix::render {
namespace {

void checkFormat(const std::string& path, const SF_INFO& info) {
    constexpr int lowestHz = minSampleRateHz;
    constexpr int highestHz = maxSampleRateHz;
    constexpr int mostChannels = maxChannelCount;
    if (info.samplerate < lowestHz || info.samplerate > highestHz) {
        throw RenderError(ExitStatus::unsupportedFormat, path + " has a rate of " + std::to_string(info.samplerate) +
                                                             " Hz; the effect takes " + std::to_string(lowestHz) +
                                                             " to " + std::to_string(highestHz) + " Hz.");
    }
    if (info.channels < 1 || info.channels > mostChannels) {
        throw RenderError(ExitStatus::unsupportedFormat, path + " has " + std::to_string(info.channels) +
                                                             " channels; the effect takes 1 to " +
                                                             std::to_string(mostChannels) + ".");
    }
    if (info.frames <= 0) {
        throw RenderError(ExitStatus::unreadableInput, path + " holds no sound: it has a length of 0 frames.");
    }
}

std::uint32_t speakerMask(SNDFILE* pFile, std::uint32_t channels) {
    std::vector<int> channelMap(channels);
    const int bytes = static_cast<int>(channels * sizeof(int));
    if (sf_command(pFile, SFC_GET_CHANNEL_MAP_INFO, channelMap.data(), bytes) == SF_FALSE) {
        return usualSpeakerMask(channels);
    }
    return speakerMaskOf(channelMap).value_or(usualSpeakerMask(channels));
}

class FileSource final : public ISource {
public:
    explicit FileSource(const std::string& path) {
        SF_INFO info{};
        m_file = openSoundFile(pathFromUtf8(path), SFM_READ, info);
        if (!m_file) {
            throw RenderError(ExitStatus::unreadableInput,
                              path + " cannot be read as sound: " + soundError(nullptr) + ".");
        }
        checkFormat(path, info);
        const auto channels = static_cast<std::uint32_t>(info.channels);
        m_format = {.sampleRateHz = static_cast<std::uint32_t>(info.samplerate),
                    .channels = channels,
                    .channelMask = speakerMask(m_file.get(), channels),
                    .frames = static_cast<std::uint64_t>(info.frames),
                    .name = path,
                    .kind = formatName(info.format),
                    .fileFormat = info.format};
    }

    [[nodiscard]] const SourceFormat& format() const noexcept override { return m_format; }

    std::size_t read(float* samples, std::size_t frameCount) override {
        const auto got = sf_readf_float(m_file.get(), samples, static_cast<sf_count_t>(frameCount));
        if (sf_error(m_file.get()) != SF_ERR_NO_ERROR) {
            throw RenderError(ExitStatus::unreadableInput,
                              m_format.name + " is damaged: " + soundError(m_file.get()) + ".");
        }
        return static_cast<std::size_t>(got);
    }

private:
    SoundFile m_file;
    SourceFormat m_format;
};

class FirstChannels final : public ISource {
public:
    FirstChannels(std::unique_ptr<ISource> source, std::uint32_t channels)
        : m_source(std::move(source)), m_format(m_source->format()) {
        m_format.channels = channels;
        m_format.channelMask = usualSpeakerMask(channels);
    }

    [[nodiscard]] const SourceFormat& format() const noexcept override { return m_format; }

    std::size_t read(float* samples, std::size_t frameCount) override {
        const std::size_t channels = m_source->format().channels;
        m_frames.resize(frameCount * channels);
        const std::size_t got = m_source->read(m_frames.data(), frameCount);
        for (std::size_t f = 0; f < got; ++f) {
            std::copy_n(m_frames.data() + f * channels, m_format.channels, samples + f * m_format.channels);
        }
        return got;
    }

private:
    std::unique_ptr<ISource> m_source;
    SourceFormat m_format;
    std::vector<float> m_frames;
};

} // namespace

std::unique_ptr<ISource> openFile(const std::string& path) {
    return std::make_unique<FileSource>(path);
}

std::unique_ptr<ISource> takeFirstChannels(std::unique_ptr<ISource> source, std::uint32_t channels) {
    return std::make_unique<FirstChannels>(std::move(source), channels);
}

} // namespace tovix::render
