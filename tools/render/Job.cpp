#include "render/Job.h"

#include "curves/Numbers.h"
#include "render/files/FileNames.h"
#include "render/files/ProgramEnd.h"
#include "render/sound/Demo.h"
#include "render/sound/SpeakerMask.h"
#include "text/Limits.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>

namespace tovix::render {
namespace {

constexpr std::uint32_t blocksPerSecond = 100;

std::uint32_t blockFramesFor(const Options& options, const SourceFormat& source) {
    const std::int64_t frames = options.blockFrames.value_or(std::max(source.sampleRateHz / blocksPerSecond, 1U));
    if (frames < 1 || frames > largestBlockFrames) {
        throw RenderError(ExitStatus::blockSize, "a block of " + std::to_string(frames) +
                                                     " frames is none; there are blocks of 1 to " +
                                                     std::to_string(largestBlockFrames) + ".");
    }
    return static_cast<std::uint32_t>(frames);
}

std::uint32_t outputChannelsFor(const Options& options, const SourceFormat& sound) {
    const std::int64_t outputChannels = options.outputChannels.value_or(sound.channels);
    if (outputChannels < 1 || outputChannels > maxChannelCount) {
        throw RenderError(ExitStatus::unsupportedFormat, "an output of " + std::to_string(outputChannels) +
                                                             " channels is none; the effect gives 1 to " +
                                                             std::to_string(maxChannelCount) + ".");
    }
    return static_cast<std::uint32_t>(outputChannels);
}

/// The effect's own rule of negotiation: of three channels or more it takes no more than it is to give.
std::uint32_t fedChannelsFor(const SourceFormat& sound, std::uint32_t outputChannels) {
    return acceptsChannelCounts(sound.channels, outputChannels) ? sound.channels : outputChannels;
}

EngineFormat engineFormat(const Options& options, const SourceFormat& sound, const SourceFormat& fed,
                          std::uint32_t outputChannels) {
    return {.sampleRateHz = fed.sampleRateHz,
            .fileChannels = sound.channels,
            .inputChannels = fed.channels,
            .outputChannels = outputChannels,
            .fileMask = sound.channelMask,
            .inputMask = fed.channelMask,
            .outputMask = outputChannels == sound.channels ? sound.channelMask : usualSpeakerMask(outputChannels),
            .blockFrames = blockFramesFor(options, sound)};
}

void checkChanges(const SettingsPlan& plan, const EngineFormat& format, std::uint64_t frames) {
    for (const auto& change : plan.changes) {
        if (blockOf(change.seconds, format) * format.blockFrames >= static_cast<double>(frames)) {
            throw RenderError(ExitStatus::changeTime, "--at " + formatDecimal(change.seconds) +
                                                          " lies beyond the beginning of the last block.");
        }
    }
}

} // namespace

double blockOf(double seconds, const EngineFormat& format) {
    return std::ceil(seconds * format.sampleRateHz / format.blockFrames);
}

Job prepareJob(const Options& options) {
    // The sound may replace the input, which happens when it is complete; a table may not.
    const bool replacesInput = options.outputPath == options.inputPath;
    requireDifferentFiles(
        {replacesInput ? "" : options.inputPath, options.outputPath, options.responsePath, options.levelsPath});
    SettingsPlan plan = planSettings(options.settings);
    auto source = options.demo ? openDemo() : openFile(options.inputPath);
    const SourceFormat sound = source->format();
    const std::uint32_t outputChannels = outputChannelsFor(options, sound);
    if (const auto fedChannels = fedChannelsFor(sound, outputChannels); fedChannels != sound.channels) {
        source = takeFirstChannels(std::move(source), fedChannels);
    }
    const EngineFormat format = engineFormat(options, sound, source->format(), outputChannels);
    checkChanges(plan, format, sound.frames);
    return {options, std::move(plan), std::move(source), sound, format};
}

} // namespace tovix::render
