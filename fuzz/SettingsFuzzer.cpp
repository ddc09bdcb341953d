/// libFuzzer target: any 256 bytes as settings text, built into a chain that fades in over audio. Whatever the
/// bytes are, every output sample must be finite and no sanitizer may have anything to say.

#include "chain/ChainBuilder.h"
#include "chain/ChainSlots.h"
#include "filters/EffectBoost.h"
#include "fuzz/QuickUnit.h"
#include "settings/SettingsDiagnosis.h"
#include "stream/AudioBlock.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string_view>
#include <vector>

using namespace tovix;

namespace {

/// The slots as the block's body calls them.
class Chains final : public IOwnEffect {
public:
    explicit Chains(const StreamFormat& format) { slots.reset(format); }
    void process(float* output, const float* input, std::uint32_t frameCount) noexcept override {
        static_cast<void>(slots.process(output, input, frameCount));
    }
    ChainSlots slots;
};

/// Shapes of streams; the text's own bytes choose one, so that a finding is one file. The blocks are short, which is
/// the same code as long ones.
constexpr StreamFormat formats[] = {
    {48000.0F, 0, 2, 2, 0x3, 48},     {44100.0F, 0, 2, 2, 0x3, 63}, {48000.0F, 0, 1, 2, 0x3, 16},
    {96000.0F, 0, 6, 2, 0x3, 8},      {8000.0F, 0, 1, 1, 0, 10},    {192000.0F, 0, 8, 8, 0x63F, 7},
    {384000.0F, 0, 20, 20, 0x63F, 4}, {10.0F, 0, 2, 2, 0x3, 1},
};

/// Samples a stream may hold: ordinary ones mostly, and every accident of an application.
float sampleAt(std::uint32_t index) {
    constexpr float accidents[] = {0.0F,
                                   std::numeric_limits<float>::infinity(),
                                   std::numeric_limits<float>::quiet_NaN(),
                                   std::numeric_limits<float>::max(),
                                   1e-40F,
                                   -1000.0F};
    const std::uint32_t hash = index * 2654435761U;
    if (hash % 997U < std::size(accidents)) {
        return accidents[hash % 997U];
    }
    return static_cast<float>(static_cast<std::int32_t>(hash)) / 2147483648.0F;
}

void requireFinite(const std::vector<float>& samples) {
    for (const float sample : samples) {
        if (!std::isfinite(sample)) {
            std::abort();
        }
    }
}

const StreamFormat& formatFor(std::string_view text) {
    const auto byte = [](char c) { return static_cast<unsigned char>(c); };
    return formats[!text.empty() ? (byte(text.front()) ^ byte(text.back())) % std::size(formats) : 0];
}

void play(std::string_view text) {
    static_cast<void>(diagnoseSettings(text, decodeLatin1));
    const StreamFormat& format = formatFor(text);
    EffectBoost::setProcessLevel(0);
    ChainBuilder builder(decodeLatin1);
    builder.configure(format, {});
    Chains chains(format);
    chains.slots.publish(builder.build("Boost: 200 dB 0").chain);
    auto built = builder.build(text);
    if (!built.chain) {
        std::abort();
    }
    // A chain without filters hands the samples on as they are, accidents included.
    const bool passesThrough = built.chain->stageCount() == 0 && format.inputChannels == format.outputChannels;
    chains.slots.publish(std::move(built.chain));
    const std::uint32_t longestBlock = format.maxFrames * 2 + 1;
    std::vector<float> input(std::size_t{longestBlock} * format.inputChannels);
    std::vector<float> output(std::size_t{longestBlock} * format.outputChannels);
    constexpr std::uint32_t blocks = 12;
    for (std::uint32_t b = 0; b < blocks; ++b) {
        for (std::size_t i = 0; i < input.size(); ++i) {
            input[i] = sampleAt(static_cast<std::uint32_t>(b * input.size() + i));
        }
        // Whole blocks, short ones and ones longer than promised; silence that may sound and silence that may not.
        const std::uint32_t frames = b % 4 == 1 ? format.maxFrames / 2 : b % 4 == 3 ? longestBlock : format.maxFrames;
        const BlockBuffer in{input.data(), frames, b % 5 == 4 ? BufferFlags::silent : BufferFlags::valid};
        BlockBuffer out{output.data(), 0, BufferFlags::invalid};
        processBlock(chains, {format.inputChannels, format.outputChannels, b % 2 == 0, nullptr}, in, out);
        if (!passesThrough) {
            requireFinite(output);
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    requireQuick(0.05, [&] { play({reinterpret_cast<const char*>(data), size}); });
    return 0;
}
