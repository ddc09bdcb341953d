#pragma once

#include "FilterChain.h"
#include "filters/IFilter.h"

#include <vector>

namespace tovix::test {

/// Adds its own number to every sample, after scaling by 10: the order and number of filters can be read off.
class DigitFilter : public IFilter {
public:
    explicit DigitFilter(float digit, bool inPlace = true) : m_digit(digit), m_inPlace(inPlace) {}
    [[nodiscard]] bool processesInPlace() const noexcept override { return m_inPlace; }
    ChannelList setup(float, std::uint32_t, ChannelList channels) override {
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

private:
    float m_digit;
    bool m_inPlace;
    std::size_t m_channelCount = 0;
};

/// Takes all channels and answers one more, named "extra", that carries the sum of all.
class SumFilter : public IFilter {
public:
    [[nodiscard]] bool usesAllChannels() const noexcept override { return true; }
    [[nodiscard]] bool processesInPlace() const noexcept override { return false; }
    [[nodiscard]] bool changesChannelSet() const noexcept override { return true; }
    ChannelList setup(float, std::uint32_t, ChannelList channels) override {
        m_inputCount = channels.size();
        channels.emplace_back(L"extra");
        return channels;
    }
    void process(float** outputs, float** inputs, std::uint32_t frameCount) noexcept override {
        for (std::uint32_t f = 0; f < frameCount; ++f) {
            float sum = 0.0F;
            for (std::size_t c = 0; c < m_inputCount; ++c) {
                sum += inputs[c][f];
                outputs[c][f] = inputs[c][f];
            }
            outputs[m_inputCount][f] = sum;
        }
    }

private:
    std::size_t m_inputCount = 0;
};

/// Writes one value into every sample of its channels; a chain of one is a constant source.
class ConstantFilter : public DigitFilter {
public:
    explicit ConstantFilter(float value) : DigitFilter(value), m_value(value) {}
    ChannelList setup(float rate, std::uint32_t maxFrames, ChannelList channels) override {
        m_channelCount = channels.size();
        return DigitFilter::setup(rate, maxFrames, std::move(channels));
    }
    void process(float** outputs, float**, std::uint32_t frameCount) noexcept override {
        for (std::size_t c = 0; c < m_channelCount; ++c) {
            for (std::uint32_t f = 0; f < frameCount; ++f) {
                outputs[c][f] = m_value;
            }
        }
    }

private:
    float m_value;
    std::size_t m_channelCount = 0;
};

} // namespace tovix::test
