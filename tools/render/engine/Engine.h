#pragma once

#include "render/engine/EngineChoice.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace tovix::render {

/// The stream that an engine is opened for.
struct EngineFormat {
    std::uint32_t sampleRateHz = 0;
    /// What the file has, which an effect is asked for first, and what it is fed; these may be fewer.
    std::uint32_t fileChannels = 0;
    std::uint32_t inputChannels = 0;
    std::uint32_t outputChannels = 0;
    /// The platform's speaker masks, 0 for none.
    std::uint32_t fileMask = 0;
    std::uint32_t inputMask = 0;
    std::uint32_t outputMask = 0;
    /// Frames of every block.
    std::uint32_t blockFrames = 0;
};

/// What an engine did besides the audio.
struct EngineStatistics {
    /// Time to build the first chain, with whatever else belongs to locking the format.
    double firstBuildMs = 0.0;
    /// The longest build of a later chain; 0 where the effect builds it unseen.
    double longestRebuildMs = 0.0;
    std::uint32_t rebuildCount = 0;
};

/// Where the effect runs: what plays the audio engine and the control application to it. One stream, one thread.
class IEngine {
public:
    virtual ~IEngine() = default;

    /// Starts a stream with the settings text in force. Throws RenderError when the effect cannot be set up.
    virtual void open(const EngineFormat& format, std::string_view settings) = 0;

    /// Announces new settings; only the last text announced before a build counts, as with the real block.
    virtual void changeSettings(std::string_view settings) = 0;

    /// Stands for the time between two blocks: what the effect's own control thread has to do and can do gets done.
    /// Call it before each block. Throws RenderError when a chain cannot be built, and when the wait for one is
    /// interrupted.
    virtual void attend() = 0;

    /// Processes one whole block of interleaved samples: `blockFrames` frames of the input channels in, as many of
    /// the output channels out.
    virtual void process(const float* input, float* output) noexcept = 0;

    /// Whether the last settings announced are in full effect: nothing waits and nothing fades.
    [[nodiscard]] virtual bool isSettled() const noexcept = 0;

    /// Of the stream, also when it has ended.
    [[nodiscard]] virtual EngineStatistics statistics() const noexcept = 0;

    /// Which effect it runs or ran, for people.
    [[nodiscard]] virtual std::string description() const = 0;

    /// Ends the stream; `open` may follow. Throws RenderError when the effect has not given everything back; the
    /// stream has ended all the same.
    virtual void close() = 0;
};

/// The engine that was chosen. Throws RenderError when this build does not have it.
std::unique_ptr<IEngine> makeEngine(const EngineChoice& choice);

/// An engine for measurements beside the first one; it shares no state with it that could change the sound, so long
/// as its settings hold no plain boost, whose level is one for the process.
std::unique_ptr<IEngine> makeReplayEngine();

} // namespace tovix::render
