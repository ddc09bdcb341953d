#include "support/PlayedStream.h"

#include "support/DirectConvolution.h"
#include "support/GuardedBuffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

namespace tovix::test {
namespace {

constexpr float notWritten = std::numeric_limits<float>::quiet_NaN();

struct Block {
    std::uint32_t frames;
    Flush flush;
    bool inPlace;
    bool silent;
};

void expectWithinItsBuffers(PlayedStream& stream, const Block& block) {
    SCOPED_TRACE(testing::Message() << block.frames << " frames, page "
                                    << (block.flush == Flush::withPageBefore ? "before" : "behind")
                                    << (block.inPlace ? ", in place" : "") << (block.silent ? ", silent" : ""));
    const std::uint32_t inputs = stream.format().inputChannels;
    const std::uint32_t outputs = stream.format().outputChannels;
    const std::size_t given = std::size_t{block.frames} * inputs;
    const std::size_t taken = std::size_t{block.frames} * outputs;
    const std::size_t shared = std::max(given, taken);
    const GuardedBuffer inputPages(shared);
    const GuardedBuffer outputPages(taken);
    float* const pInput = inputPages.place(block.inPlace ? shared : given, block.flush);
    float* const pOutput = block.inPlace ? pInput : outputPages.place(taken, block.flush);
    std::fill_n(pOutput, taken, notWritten);
    const auto source = noise(given, 1);
    std::copy(source.begin(), source.end(), pInput);
    stream.play(pInput, pOutput, block.frames, block.silent);
    EXPECT_TRUE(block.inPlace || block.silent || std::equal(source.begin(), source.end(), pInput));
    for (std::uint32_t f = 0; f < block.frames; ++f) {
        const float* const frame = pOutput + std::size_t{f} * outputs;
        for (std::uint32_t c = 0; c < outputs; ++c) {
            ASSERT_TRUE(block.silent ? frame[c] == 0.0F : std::isfinite(frame[c])) << "frame " << f << ", " << c;
            // A mono input fills two channels, whatever the mixture of chains; the others stay silent.
            ASSERT_TRUE(inputs != 1 || c == 0 || std::fabs(frame[c] - (c == 1 ? frame[0] : 0.0F)) < 1e-5F)
                << "frame " << f << ", " << c;
        }
    }
}

/// Every block once.
void expectAllWithinTheirBuffers(PlayedStream& stream) {
    const std::uint32_t most = stream.format().maxFrames;
    for (const std::uint32_t frames : {0U, 1U, 2U, 3U, 7U, 8U, 15U, 16U, 17U, most - 1, most, most + 1}) {
        for (const Flush flush : {Flush::withPageBefore, Flush::withPageBehind}) {
            expectWithinItsBuffers(stream, {frames, flush, false, false});
            expectWithinItsBuffers(stream, {frames, flush, true, false});
            expectWithinItsBuffers(stream, {frames, flush, false, true});
        }
    }
}

constexpr std::size_t tapCount = 16384;
/// What is too loud for the equalizer's sums spoils two of their blocks, each of so many of the stream's.
constexpr std::uint32_t longBlocks = 4;
constexpr float ordinaryRateHz = 48000.0F;
/// A rate at which what lasts for seconds is over within few frames.
constexpr float slowRateHz = 200.0F;

struct Accident {
    const char* name;
    float sample;
    /// A finite sample is sound, however loud, after which a limiter has its release.
    bool isSound = false;
};

const Accident accidents[] = {
    {"not a number", std::numeric_limits<float>::quiet_NaN()},
    {"infinite", std::numeric_limits<float>::infinity()},
    {"minus infinite", -std::numeric_limits<float>::infinity()},
    {"denormal", 1e-39F},
    {"1e38", 1e38F, true},
    {"the lowest", std::numeric_limits<float>::lowest(), true},
};

struct Chain {
    const char* text;
    /// The largest magnitude that comes out, whatever comes in.
    float most;
    /// How far it may be from a fresh one: where the blocks are counted from differs, and so does the rounding.
    float tolerance;
    /// Of the limiters after a loud sound.
    float releaseSeconds;
    /// A stereo frame out of all bounds lowers its level until the next change.
    bool backsOff = false;
};

constexpr float anyFinite = std::numeric_limits<float>::max();
constexpr float fullScale = 1.000001F;

const Chain chains[] = {
    {"Boost: 60 dB 0", anyFinite, 0.0F, 0.0F, true},
    {"Boost: 60 dB 1", fullScale, 0.0F, 5.0F},
    {"Maximizer: 60 dB -10", fullScale, 0.0F, 2.0F},
    {"Equalizer: 20 -6 40 3 80 -12", anyFinite, 1e-7F, 0.0F},
    {"Equalizer: 20 -6 40 3 80 -12\nBoost: 60 dB 0", anyFinite, 1e-7F, 0.0F, true},
    {"Boost: 60 dB 1\nEqualizer: 20 12 60 -9\nMaximizer: 60 dB\nBoost: 30 dB 1", fullScale, 1e-7F, 45.0F},
    {"Equalizer: 1e-300 9 10 300 1000 300 2000 -1e9\nEqualizer: 0 6 50 0 50 6 1e300 5", anyFinite, anyFinite, 0.0F},
};

/// The output of a quiet sound, the same every time, after `first`, up to `most`.
std::vector<float> played(PlayedStream& stream, float most, std::size_t frames,
                          const std::vector<float>& first = {}) {
    const StreamFormat& format = stream.format();
    const std::size_t blocks = frames / format.maxFrames + 1;
    std::vector<float> input = noise(blocks * format.maxFrames * format.inputChannels, 1);
    std::transform(input.begin(), input.end(), input.begin(), [](float sample) { return 0.02F * sample; });
    std::copy(first.begin(), first.end(), input.begin());
    std::vector<float> output(blocks * format.maxFrames * format.outputChannels);
    for (std::size_t done = 0; done < blocks * format.maxFrames; done += format.maxFrames) {
        stream.play(&input[done * format.inputChannels], &output[done * format.outputChannels], format.maxFrames,
                    false);
    }
    EXPECT_TRUE(
        std::all_of(output.begin(), output.end(), [most](float sample) { return std::fabs(sample) <= most; }));
    return output;
}

void expectRecovery(const StreamMaker& make, const Chain& chain, const StreamFormat& format) {
    const bool isSlow = format.sampleRateHz == slowRateHz;
    const std::size_t limit = tapCount + (isSlow ? 2 * longBlocks : 1) * std::size_t{format.maxFrames} +
                              (isSlow ? static_cast<std::size_t>(chain.releaseSeconds * format.sampleRateHz) : 0);
    const std::size_t frames = limit + 4 * std::size_t{format.maxFrames};
    // The plain boost's level, which all streams of the process share, comes up before anything is compared.
    played(*make(format, chain.text), chain.most, 30 * std::size_t{format.maxFrames});
    const std::vector<float> fresh = played(*make(format, chain.text), chain.most, frames);
    const auto pStream = make(format, chain.text);
    for (std::size_t i = 0; i < std::size(accidents); ++i) {
        if (accidents[i].isSound != isSlow) {
            continue;
        }
        // In turn one sample and the rest of the block, in every channel and at many places.
        const bool isLong = (i + static_cast<std::size_t>(&chain - chains)) % 2 == 0;
        const std::size_t at = i * 21 % format.maxFrames;
        const std::size_t channel = (i / 2 + 1) % format.inputChannels;
        SCOPED_TRACE(testing::Message() << accidents[i].name << " from frame " << at << (isLong ? " on" : "")
                                        << " in channel " << channel << " of " << format.inputChannels << ": "
                                        << chain.text);
        std::vector<float> block(std::size_t{format.maxFrames} * format.inputChannels, 0.01F);
        for (std::size_t f = at; f < (isLong ? format.maxFrames : at + 1); ++f) {
            block[f * format.inputChannels + channel] = accidents[i].sample;
        }
        played(*pStream, chain.most, 0, block);
        if (chain.backsOff && format.outputChannels == 2) {
            pStream->change(chain.text);
        }
        const auto sound = played(*pStream, chain.most, frames);
        std::size_t different = sound.size();
        while (different > 0 && std::fabs(sound[different - 1] - fresh[different - 1]) <= chain.tolerance) {
            --different;
        }
        EXPECT_LE(different, limit * format.outputChannels);
    }
}

} // namespace

void expectBlocksToStayWithinTheirBuffers(const StreamMaker& make) {
    const struct {
        std::uint32_t inputs;
        std::uint32_t outputs;
    } shapes[] = {{1, 1}, {2, 2}, {6, 6}, {8, 8}, {12, 12}, {1, 2}, {2, 1}, {2, 6}, {6, 2}, {1, 8}, {3, 5}};
    const std::string limiters = "Boost: 60 dB 0\nBoost: 90 dB 1\nMaximizer: 60 dB -10";
    const std::string equalizer = "Equalizer: 100 -3 1000 0 10000 6";
    for (const auto& shape : shapes) {
        // At this rate a fade lasts as long as all blocks.
        const auto pStream = make({192000.0F, 0, shape.inputs, shape.outputs, 0, 64}, "");
        for (const std::string& text : {limiters, equalizer, limiters + "\n" + equalizer, std::string{}}) {
            SCOPED_TRACE(testing::Message() << shape.inputs << " into " << shape.outputs << ": " << text);
            expectAllWithinTheirBuffers(*pStream);
            pStream->change(text);
            expectAllWithinTheirBuffers(*pStream);
            EXPECT_TRUE(pStream->isFading());
            expectAllWithinTheirBuffers(*pStream);
            ASSERT_FALSE(pStream->isFading());
            ASSERT_FALSE(testing::Test::HasFailure());
        }
    }
}

void expectSoundToStayFiniteAndComeBack(const StreamMaker& make) {
    constexpr std::uint32_t withLongBlocks = 128;
    constexpr std::uint32_t withGap = 441;
    for (const Chain& chain : chains) {
        for (const float rateHz : {ordinaryRateHz, slowRateHz}) {
            expectRecovery(make, chain, {rateHz, 0, 1, 2, 0, withLongBlocks});
            expectRecovery(make, chain, {rateHz, 0, 2, 2, 0, withGap});
            expectRecovery(make, chain, {rateHz, 0, 3, 3, 0, withLongBlocks});
        }
    }
}

} // namespace tovix::test
