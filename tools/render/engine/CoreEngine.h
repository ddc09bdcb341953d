#pragma once

#include "chain/ChainBuilder.h"
#include "chain/ChainSlots.h"
#include "render/engine/Engine.h"
#include "stream/AudioBlock.h"

#include <optional>
#include <string>

namespace tovix::render {

/// Runs the effect's core in this process, as the audio engine and the effect's manager drive it: a chain is built
/// and published only with the token in hand, a fading chain keeps the token, and a change that arrives meanwhile
/// waits for the swap. Engines of one process share no state that could change the sound, as long as their settings
/// hold no plain boost, whose level is one for the process. Threads as IEngine says.
class CoreEngine final : public IEngine, private IOwnEffect {
public:
    CoreEngine();

    void open(const EngineFormat& format, std::string_view settings) override;
    void changeSettings(std::string_view settings) override;
    void prepareBlock() override;
    void process(const float* input, float* output) noexcept override;
    [[nodiscard]] bool isSettled() const noexcept override;
    [[nodiscard]] EngineStatistics statistics() const noexcept override { return m_statistics; }
    [[nodiscard]] std::string description() const override;
    void close() override;

private:
    void process(float* output, const float* input, std::uint32_t frameCount) noexcept override;
    /// Builds and publishes a chain; the token is free. Returns the time it took.
    double build(std::string_view settings);

    ChainBuilder m_builder;
    ChainSlots m_slots;
    BlockContext m_context;
    std::uint32_t m_blockFrames = 0;
    /// The announcement that waits for its build.
    std::optional<std::string> m_announced;
    bool m_tokenFree = true;
    EngineStatistics m_statistics;
};

} // namespace tovix::render
