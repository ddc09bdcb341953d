#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tovix::render {

/// Which engine runs the effect. Builds without the effect's library have the core alone.
struct EngineChoice {
    /// The core in this process instead of the library.
    bool core = false;
    /// The library's path, UTF-8; empty means the one beside this program.
    std::string libraryPath;
    /// The registered library, through COM, instead of one by its path.
    bool registered = false;
    /// The device's previous effect, a class in braced text. Only with the library.
    std::optional<std::string> previousEffect;
    /// Leave the settings to other processes once the stream runs, and say when they change them.
    bool watch = false;
    /// `changeSettings` will be called while the stream runs.
    bool changesSettings = false;
};

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

/// Plays the audio engine and the control application to the effect. One stream; all calls come from one thread,
/// which is the control thread between two blocks and the audio thread in `process`.
class IEngine {
public:
    virtual ~IEngine() = default;

    /// [control] Starts a stream with the settings text in force. Throws RenderError when the effect cannot be set
    /// up.
    virtual void open(const EngineFormat& format, std::string_view settings) = 0;

    /// [control] Announces new settings. Of several texts announced before a build only the last one counts, as with
    /// the real settings page.
    virtual void changeSettings(std::string_view settings) = 0;

    /// [control] To be called before each block: what the effect's control thread would do between two blocks gets
    /// done. Throws RenderError when a chain cannot be built, and when the wait for one is interrupted.
    virtual void prepareBlock() = 0;

    /// [audio] Processes one whole block of interleaved samples: `blockFrames` frames of the input channels in, as
    /// many of the output channels out.
    virtual void process(const float* input, float* output) noexcept = 0;

    /// [control] Whether the last settings announced are in full effect: nothing waits and nothing fades.
    [[nodiscard]] virtual bool isSettled() const noexcept = 0;

    /// [control] Of the stream, also when it has ended.
    [[nodiscard]] virtual EngineStatistics statistics() const noexcept = 0;

    /// [control] Which effect it runs or ran, for people.
    [[nodiscard]] virtual std::string description() const = 0;

    /// [control] Ends the stream; `open` may follow. Throws RenderError when the effect has not given everything
    /// back; the stream has ended all the same.
    virtual void close() = 0;
};

} // namespace tovix::render
