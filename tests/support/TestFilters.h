#pragma once

#include "chain/FilterChain.h"
#include "filters/IFilter.h"

#include <algorithm>

namespace tovix::test {

/// Adds its own number to every sample, after scaling by 10: the order and number of filters can be read off.
class DigitFilter : public IFilter {
public:
    explicit DigitFilter(float digit, bool inPlace = true) : m_digit(digit), m_inPlace(inPlace) {}
    [[nodiscard]] bool processesInPlace() const noexcept override { return m_inPlace; }
    ChannelList setup(float, std::uint32_t maxFrames, ChannelList channels) override {
        m_maxFrames = maxFrames;
        m_channelCount = channels.size();
        return channels;
    }
    void process(float** outputs, float** inputs, std::uint32_t frameCount) noexcept override {
        for (std::size_t c = 0; c < m_channelCount; ++c) {
            for (std::uint32_t f = 0; f < frameCount; ++f) {
                outputs[c][f] = inputs[c][f] * 10.0F + m_digit;
            }
        }
    }

protected:
    float m_digit;
    bool m_inPlace;
    std::uint32_t m_maxFrames = 0;
    std::size_t m_channelCount = 0;
};

/// Writes one value into every sample of its channels; a chain of one is a constant source.
class ConstantFilter : public DigitFilter {
public:
    using DigitFilter::DigitFilter;
    void process(float** outputs, float**, std::uint32_t frameCount) noexcept override {
        for (std::size_t c = 0; c < m_channelCount; ++c) {
            std::fill_n(outputs[c], frameCount, m_digit);
        }
    }
};

} // namespace tovix::test
