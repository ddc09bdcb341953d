#include "stream/AudioBlock.h"

#include <cmath>
#include <cstddef>
#include <cstring>
#include <xmmintrin.h>

namespace tovix {
namespace {

/// Magnitude up to which a sample counts as silence.
constexpr double silenceMagnitude = 1e-10;

/// The x87 unit, which the Windows toolchain's elementary functions use. Its whole state is slow to store and load,
/// and so is left alone where its control word is a usual one: no exceptions, rounding to nearest, at least 53 bits.
class X87Rules {
public:
    [[gnu::always_inline]] X87Rules() noexcept : m_before(controlWord()) {
        if (!isUsual(m_before)) {
            asm volatile("fnstenv %0" : "=m"(m_stateBefore));
            enforce();
        }
    }
    /// An exception that is on again must not find a flag that was raised meanwhile, so that flags come back too.
    [[gnu::always_inline]] ~X87Rules() {
        if (!isUsual(m_before)) {
            asm volatile("fldenv %0" : : "m"(m_stateBefore));
        } else if (controlWord() != m_before) {
            asm volatile("fldcw %0" : : "m"(m_before));
        }
    }
    X87Rules(const X87Rules&) = delete;
    X87Rules& operator=(const X87Rules&) = delete;

    [[gnu::always_inline]] static void enforce() noexcept {
        constexpr std::uint16_t initial = 0x037F;
        if (!isUsual(controlWord())) {
            asm volatile("fnclex\n\tfldcw %0" : : "m"(initial));
        }
    }

private:
    /// As FNSTENV stores it.
    struct State {
        std::uint32_t words[7];
    };

    [[gnu::always_inline]] static std::uint16_t controlWord() noexcept {
        std::uint16_t word = 0;
        asm volatile("fnstcw %0" : "=m"(word));
        return word;
    }
    [[gnu::always_inline]] static bool isUsual(std::uint16_t word) noexcept {
        constexpr unsigned masks = 0x003F;
        constexpr unsigned atLeast53Bits = 0x0200;
        constexpr unsigned rounding = 0x0C00;
        return (word & (masks | atLeast53Bits | rounding)) == (masks | atLeast53Bits);
    }

    std::uint16_t m_before;
    State m_stateBefore{};
};

/// While it lives, this thread computes by rules of our own, whatever the caller's: rounding to nearest, no exception
/// that would end the process over a sample that is not a number, and denormal operands and results count as zero, on
/// which decaying filters slow down otherwise. Restores the thread's own rules, status flags included.
class OwnFloatRules {
public:
    [[gnu::always_inline]] OwnFloatRules() noexcept : m_before(_mm_getcsr()) { _mm_setcsr(ownRules); }
    [[gnu::always_inline]] ~OwnFloatRules() { _mm_setcsr(m_before); }
    OwnFloatRules(const OwnFloatRules&) = delete;
    OwnFloatRules& operator=(const OwnFloatRules&) = delete;

    /// Again, after foreign code.
    [[gnu::always_inline]] static void enforce() noexcept {
        X87Rules::enforce();
        _mm_setcsr(ownRules);
    }

private:
    static constexpr unsigned allMasked = 0x1F80;
    static constexpr unsigned flushToZero = 0x8000;
    static constexpr unsigned denormalsAreZero = 0x0040;
    static constexpr unsigned ownRules = allMasked | flushToZero | denormalsAreZero;

    X87Rules m_x87;
    unsigned m_before;
};

RT_SECTION void clear(float* samples, std::uint32_t frameCount, std::uint32_t channels) noexcept {
    std::memset(samples, 0, std::size_t{frameCount} * channels * sizeof(float));
}

RT_SECTION void markSilent(BlockBuffer& output, std::uint32_t channels) noexcept {
    if (output.samples != nullptr) {
        clear(output.samples, output.validFrameCount, channels);
    }
    output.flags = BufferFlags::silent;
}

RT_SECTION bool isSilent(const float* samples, std::size_t count) noexcept {
    for (std::size_t i = 0; i < count; ++i) {
        if (static_cast<double>(std::fabs(samples[i])) > silenceMagnitude) {
            return false;
        }
    }
    return true;
}

} // namespace

bool processBlock(IOwnEffect& effect, const BlockContext& context, const BlockBuffer& input,
                  BlockBuffer& output) noexcept {
    if (input.flags != BufferFlags::valid && input.flags != BufferFlags::silent) {
        return false;
    }
    const OwnFloatRules rules;
    const std::uint32_t frameCount = input.validFrameCount;
    output.validFrameCount = frameCount;
    if (input.samples == nullptr || output.samples == nullptr) {
        markSilent(output, context.outputChannels);
        return true;
    }
    if (input.flags == BufferFlags::silent) {
        clear(input.samples, frameCount, context.inputChannels);
    }
    const float* chainInput = input.samples;
    if (context.pPrevious != nullptr) {
        context.pPrevious->processBlock();
        chainInput = output.samples;
        OwnFloatRules::enforce();
    }
    effect.process(output.samples, chainInput, frameCount);
    if (input.flags == BufferFlags::valid) {
        output.flags = BufferFlags::valid;
        return true;
    }
    if (!context.processSilence) {
        markSilent(output, context.outputChannels);
        return true;
    }
    const bool silent = isSilent(output.samples, std::size_t{frameCount} * context.outputChannels);
    output.flags = silent ? BufferFlags::silent : BufferFlags::valid;
    return true;
}

} // namespace tovix
