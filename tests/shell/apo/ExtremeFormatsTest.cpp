#include "stream/StreamFormat.h"
#include "support/ImportWatch.h"
#include "support/LoggedModule.h"
#include "support/SettingsWriter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace tovix::test {
namespace {

TEST(ExtremeFormats, AreTakenOrAnsweredWithWhatIsTaken) {
    const ModuleUnderTest module;
    const Effect effect(module.create());
    for (const DWORD outputs : {1U, 2U, 8U, 4096U}) {
        for (const float outputRateHz : {10.0F, 48000.0F, 384000.0F}) {
            FormatDouble output(floatFormat(outputs, outputRateHz));
            for (const DWORD inputs : {0U, 1U, 2U, 3U, 8U, 4096U, 4097U, 0xFFFFFFFFU}) {
                for (const float rateHz : {std::nanf(""), -HUGE_VALF, -1.0F, 0.0F, 9.99F, 10.0F, 48000.0F, 384000.0F,
                                           384001.0F, HUGE_VALF}) {
                    SCOPED_TRACE(testing::Message() << inputs << " channels at " << rateHz << " Hz into " << outputs
                                                    << " at " << outputRateHz);
                    FormatDouble request(floatFormat(inputs, rateHz));
                    const bool isTaken = rateHz == outputRateHz && inputs >= 1 && inputs <= std::max(outputs, 2UL);
                    Negotiation answer = negotiate(*effect.apo, &output, &request);
                    ASSERT_EQ(answer.result, isTaken ? S_OK : S_FALSE);
                    for (int again = 0; again < 2 && answer.result == S_FALSE; ++again) {
                        FormatDouble proposed(answer.proposed);
                        answer = negotiate(*effect.apo, &output, &proposed);
                    }
                    ASSERT_EQ(answer.result, S_OK);
                }
            }
        }
    }
}

/// The memory of a small machine.
void* takeLittle(std::size_t bytes) {
    constexpr std::size_t most = std::size_t{64} << 20U;
    return bytes <= most ? std::malloc(bytes) : nullptr;
}

constexpr float quiet = 0.1F;

/// Plays two blocks, as long as they may be within `mostSamples`, and returns whether they passed unchanged.
bool passes(Effect& effect, const StreamFormat& format) {
    constexpr UINT32 mostSamples = 1U << 21U;
    const std::uint32_t shared = std::min(format.inputChannels, format.outputChannels);
    const UINT32 frames =
        std::min(format.maxFrames, mostSamples / std::max(format.inputChannels, format.outputChannels));
    std::vector<float> input(std::size_t{frames} * format.inputChannels, quiet);
    std::vector<float> output(std::size_t{frames} * format.outputChannels);
    effect.play(input.data(), output.data(), frames);
    EXPECT_EQ(effect.play(input.data(), output.data(), frames), frames);
    bool isUnchanged = true;
    for (std::size_t i = 0; i < output.size(); ++i) {
        const std::size_t channel = i % format.outputChannels;
        const bool sounds = channel < shared || (format.inputChannels == 1 && channel == 1);
        isUnchanged = isUnchanged && output[i] == (sounds ? quiet : 0.0F);
    }
    EXPECT_TRUE(std::all_of(output.begin(), output.end(), [](float sample) { return std::isfinite(sample); }));
    return isUnchanged;
}

TEST(ExtremeFormats, AreServedOrPassUnchangedWithALineThatSaysWhy) {
    const SettingsWriter settings("Boost: 60 dB 1\nEqualizer: 1000 6\nMaximizer: 0 dB");
    std::size_t passed = 0;
    std::size_t served = 0;
    const Lines lines = toldBy(
        [&](const ModuleUnderTest& module) {
            ImportWatch memory(module.handle());
            memory.redirect("malloc", &takeLittle);
            Effect effect(module.create());
            const std::uint32_t pairs[][2] = {{1, 1}, {2, 2}, {8, 8}, {64, 64}, {4096, 4096}, {1, 4096}, {6, 2}};
            for (const auto& [inputs, outputs] : pairs) {
                for (const float rateHz : {10.0F, 48000.0F, 384000.0F}) {
                    for (const std::uint32_t frames : {1U, 480U, 1U << 16U, 1U << 20U}) {
                        SCOPED_TRACE(testing::Message()
                                     << inputs << " into " << outputs << ", " << rateHz << " Hz, " << frames);
                        const StreamFormat format{rateHz, 0, inputs, outputs, 0, frames};
                        ASSERT_EQ(effect.lock(floatFormat(inputs, rateHz), floatFormat(outputs, rateHz), frames),
                                  S_OK);
                        ++(passes(effect, format) ? passed : served);
                        ASSERT_EQ(effect.config->UnlockForProcess(), S_OK);
                    }
                }
            }
        },
        "The sound passes unchanged");
    EXPECT_EQ(lines.size(), passed);
    std::printf("%zu formats served, %zu passed unchanged\n", served, passed);
    EXPECT_GT(passed, 0U);
    EXPECT_GT(served, 20U);
}

} // namespace
} // namespace tovix::test
