#pragma once

#include "convolution/PartitionedConvolver.h"
#include "filters/ResponseInterpolator.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <span>
#include <vector>

namespace tovix::bench {

constexpr std::uint32_t tapCount = 16384;

/// The settings whose design and cost are measured.
inline std::vector<ResponsePoint> benchPoints() {
    return {{100.0, -3.0}, {1000.0, 0.0}, {10000.0, 6.0}};
}

inline std::vector<float> noise(std::size_t count) {
    std::mt19937 generator{1};
    std::uniform_real_distribution<float> sample{-0.5F, 0.5F};
    std::vector<float> samples(count);
    for (float& s : samples) {
        s = sample(generator);
    }
    return samples;
}

/// Noise that decays by 60 dB over its length.
inline std::vector<float> decayingNoise(std::size_t count) {
    std::vector<float> samples = noise(count);
    for (std::size_t i = 0; i < count; ++i) {
        samples[i] *= std::pow(10.0F, -3.0F * static_cast<float>(i) / static_cast<float>(count));
    }
    return samples;
}

/// One convolver per channel, all with the same filter, in the order in which the equalizer runs them.
class ConvolverBank {
public:
    ConvolverBank(std::uint32_t channelCount, std::span<const float> h, std::uint32_t blockFrames)
        : m_convolvers(channelCount), m_input(noise(blockFrames)), m_output(blockFrames) {
        for (PartitionedConvolver& convolver : m_convolvers) {
            m_ready = convolver.init(h, blockFrames) && m_ready;
        }
    }

    [[nodiscard]] bool ready() const { return m_ready; }
    [[nodiscard]] std::span<const float> input() const { return m_input; }
    /// The block that the last channel of the last call gave.
    [[nodiscard]] std::span<const float> output() const { return m_output; }

    /// One block of every channel.
    void process() {
        for (PartitionedConvolver& convolver : m_convolvers) {
            convolver.pushInput(m_input.data());
            convolver.accumulate();
            convolver.popOutput(m_output.data());
        }
    }

private:
    std::vector<PartitionedConvolver> m_convolvers;
    std::vector<float> m_input;
    std::vector<float> m_output;
    bool m_ready = true;
};

} // namespace tovix::bench
