#pragma once

#include "BenchSignals.h"
#include "Measurements.h"
#include "convolution/ConvolverEngine.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace tovix::bench {

/// Blocks of so many frames and channels.
struct Shape {
    std::uint32_t blockFrames;
    std::uint32_t channelCount = 2;

    [[nodiscard]] std::size_t samples() const { return std::size_t{blockFrames} * channelCount; }
};

/// Who convolves the same blocks with the same filter, `decayingNoise(tapCount)`, as the others.
class Contestant {
public:
    virtual ~Contestant() = default;
    Contestant(const Contestant&) = delete;
    Contestant& operator=(const Contestant&) = delete;

    [[nodiscard]] const std::string& name() const { return m_name; }

    /// False where it cannot do blocks of this shape.
    [[nodiscard]] virtual bool ready() const = 0;

    /// Takes so many blocks through, and returns the nanoseconds that it took: by the clock where all work is done in
    /// the caller, as reading the processor time would cost more than a short block does; of processor time of all
    /// threads where there are others. A batch that another program held up by the clock is left out by `Batches`.
    virtual double nsOfBlocks(std::size_t blocks) = 0;

    /// The last block of the first channel.
    [[nodiscard]] virtual std::span<const float> output() const = 0;

protected:
    explicit Contestant(std::string name) : m_name(std::move(name)) {}

private:
    std::string m_name;
};

/// One engine's convolver with blocks to work on: every channel has its own input and output.
class EngineRun final : public Contestant {
public:
    EngineRun(const ConvolverEngine& engine, const Shape& shape)
        : Contestant(std::string{engine.name}), m_shape(shape), m_input(noise(shape.samples())),
          m_output(m_input.size()) {
        const std::vector<float> h = decayingNoise(tapCount);
        m_pConvolver = engine.make({h, shape.blockFrames, shape.channelCount});
        for (std::size_t c = 0; c < shape.channelCount; ++c) {
            m_inputs.push_back(m_input.data() + c * shape.blockFrames);
            m_outputs.push_back(m_output.data() + c * shape.blockFrames);
        }
    }

    /// Every sample of the blocks to come.
    void feed(float sample) { m_input.assign(m_input.size(), sample); }

    [[nodiscard]] bool ready() const override { return m_pConvolver != nullptr; }
    [[nodiscard]] std::span<const float> output() const override {
        return std::span{m_output}.first(m_shape.blockFrames);
    }

    void process() { m_pConvolver->process(m_outputs.data(), m_inputs.data()); }

    double nsOfBlocks(std::size_t blocks) override {
        return nsOf([&] {
            for (std::size_t i = 0; i < blocks; ++i) {
                process();
            }
        });
    }

private:
    Shape m_shape;
    BlockConvolverPtr m_pConvolver;
    std::vector<float> m_input;
    std::vector<float> m_output;
    std::vector<const float*> m_inputs;
    std::vector<float*> m_outputs;
};

/// The convolvers of other programs that can do such blocks; none where this build has none.
std::vector<std::unique_ptr<Contestant>> makePeers(const Shape& shape);

} // namespace tovix::bench
