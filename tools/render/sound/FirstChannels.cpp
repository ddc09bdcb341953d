#include "render/sound/Source.h"
#include "render/sound/SpeakerMask.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace tovix::render {
namespace {

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

std::unique_ptr<ISource> takeFirstChannels(std::unique_ptr<ISource> source, std::uint32_t channels) {
    return std::make_unique<FirstChannels>(std::move(source), channels);
}

} // namespace tovix::render
