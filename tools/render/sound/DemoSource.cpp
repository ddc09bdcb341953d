#include "render/sound/DemoProgramme.h"
#include "render/sound/Source.h"
#include "render/sound/SpeakerMask.h"

#include <sndfile.h>

#include <algorithm>
#include <vector>

namespace tovix::render {
namespace {

class DemoSource final : public ISource {
public:
    DemoSource() : m_samples(makeDemoProgramme()) {
        m_format = {.sampleRateHz = demoRateHz,
                    .channels = demoChannels,
                    .channelMask = usualSpeakerMask(demoChannels),
                    .frames = m_samples.size() / demoChannels,
                    .name = "demo programme",
                    .kind = "generated",
                    .fileFormat = SF_FORMAT_WAV | SF_FORMAT_FLOAT};
    }

    [[nodiscard]] const SourceFormat& format() const noexcept override { return m_format; }

    std::size_t read(float* samples, std::size_t frameCount) override {
        const std::size_t count = std::min(frameCount * demoChannels, m_samples.size() - m_position);
        std::copy_n(m_samples.data() + m_position, count, samples);
        m_position += count;
        return count / demoChannels;
    }

private:
    std::vector<float> m_samples;
    std::size_t m_position = 0;
    SourceFormat m_format;
};

} // namespace

std::unique_ptr<ISource> openDemo() {
    return std::make_unique<DemoSource>();
}

} // namespace tovix::render
