#pragma once

#include "BenchSignals.h"
#include "convolution/ConvolverEngine.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <vector>

namespace tovix::bench {

/// One engine's convolver with blocks to work on: every channel has its own input and output.
class EngineRun {
public:
    EngineRun(const ConvolverEngine& engine, std::span<const float> h, std::uint32_t blockFrames,
              std::uint32_t channelCount)
        : m_pConvolver(engine.make({h, blockFrames, channelCount})),
          m_input(noise(std::size_t{blockFrames} * channelCount)), m_output(m_input.size()) {
        for (std::size_t c = 0; c < channelCount; ++c) {
            m_inputs.push_back(m_input.data() + c * blockFrames);
            m_outputs.push_back(m_output.data() + c * blockFrames);
        }
    }

    [[nodiscard]] bool ready() const { return m_pConvolver != nullptr; }
    [[nodiscard]] const std::vector<float>& output() const { return m_output; }

    void process() { m_pConvolver->process(m_outputs.data(), m_inputs.data()); }

    /// Nanoseconds per sample of one channel over so many blocks.
    double nsPerSample(std::size_t blocks) {
        const auto start = std::chrono::steady_clock::now();
        for (std::size_t i = 0; i < blocks; ++i) {
            process();
        }
        const auto ns = std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count();
        return ns / static_cast<double>(blocks * m_output.size());
    }

private:
    BlockConvolverPtr m_pConvolver;
    std::vector<float> m_input;
    std::vector<float> m_output;
    std::vector<const float*> m_inputs;
    std::vector<float*> m_outputs;
};

/// The batches of one engine. Another program on the machine slows some of them down: those that took much longer
/// than the fastest are left out.
class Batches {
public:
    void add(double ns) { m_ns.push_back(ns); }

    /// Median of the undisturbed ones.
    [[nodiscard]] double medianNs() const {
        std::vector<double> kept = undisturbed();
        const auto middle = kept.begin() + static_cast<std::ptrdiff_t>(kept.size() / 2);
        std::nth_element(kept.begin(), middle, kept.end());
        return *middle;
    }
    [[nodiscard]] double fastestNs() const { return *std::min_element(m_ns.begin(), m_ns.end()); }
    [[nodiscard]] std::size_t keptCount() const { return undisturbed().size(); }
    [[nodiscard]] std::size_t count() const { return m_ns.size(); }

private:
    static constexpr double disturbedRatio = 1.2;

    [[nodiscard]] std::vector<double> undisturbed() const {
        const double limit = disturbedRatio * fastestNs();
        std::vector<double> kept;
        std::copy_if(m_ns.begin(), m_ns.end(), std::back_inserter(kept), [limit](double ns) { return ns <= limit; });
        return kept;
    }

    std::vector<double> m_ns;
};

} // namespace tovix::bench
