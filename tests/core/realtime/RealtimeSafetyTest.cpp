// Blocks of every kind, played under RealtimeSanitizer and without a system call to make.

#include "chain/ChainBuilder.h"
#include "chain/ChainSlots.h"
#include "convolution/ConvolverEngine.h"
#include "kernels/Kernels.h"
#include "kernels/LimiterLoops.h"
#include "stream/AudioBlock.h"
#include "support/ChosenAgain.h"

#include <gtest/gtest.h>

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <limits>
#include <mutex>
#include <string>
#include <vector>

using namespace tovix;

extern "C" void __rtsan_realtime_enter();
extern "C" void __rtsan_realtime_exit();

namespace {

/// Lets the calling thread make no system call at all from here on but `exit_group` and the writing of a message
/// to the standard error; any other ends the process with SIGSYS. Nothing lifts this again: for a child process.
void forbidSystemCalls() {
    std::array<sock_filter, 7> rules{{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_exit_group, 4, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_write, 0, 2),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[0])),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, STDERR_FILENO, 1, 0),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    }};
    const sock_fprog program{rules.size(), rules.data()};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 || prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) {
        std::abort();
    }
}

/// Plays in a child that may make no system call and exits with 0 at its end.
template <class Play, class HowItEnds> void expectWithoutSystemCalls(const Play& play, const HowItEnds& howItEnds) {
    EXPECT_EXIT(
        {
            forbidSystemCalls();
            play();
            _exit(0);
        },
        howItEnds, "");
}

/// RealtimeSanitizer ends the process at any allocation, lock or blocking call that the C library is asked for.
template <class Play> void playGuarded(const Play& play) {
    __rtsan_realtime_enter();
    play();
    __rtsan_realtime_exit();
}

class Chains final : public IOwnEffect {
public:
    void process(float* output, const float* input, std::uint32_t frameCount) noexcept override {
        swapped |= slots.process(output, input, frameCount);
        if (planted) {
            planted();
        }
    }
    ChainSlots slots;
    bool swapped = false;
    std::function<void()> planted;
};

/// One stream that plays on from one text to another, with every kind of block.
struct Stream {
    Stream(const StreamFormat& streamFormat, const std::string& from, const std::string& to) : format(streamFormat) {
        ChainBuilder builder(decodeLatin1);
        builder.configure(format, {});
        chains.slots.reset(format);
        chains.slots.publish(builder.build(from).chain);
        chains.slots.publish(builder.build(to).chain);
        input.assign(std::size_t{longestBlock()} * format.inputChannels, 0.9F);
        // Far beyond the boost's guard, and no number at all: the rare branches belong to the path too.
        input[input.size() / 3] = 50.0F;
        input[input.size() / 2] = std::numeric_limits<float>::quiet_NaN();
        output.resize(std::size_t{longestBlock()} * format.outputChannels);
    }

    [[nodiscard]] std::uint32_t longestBlock() const { return format.maxFrames * 2 + 1; }

    /// The audio thread's part, and nothing else.
    void play() {
        for (std::uint32_t b = 0; b < 40; ++b) {
            const std::uint32_t frames = b % 7 == 6 ? longestBlock() : format.maxFrames - b % 3;
            const BlockBuffer in{input.data(), frames, b % 5 == 4 ? BufferFlags::silent : BufferFlags::valid};
            BlockBuffer out{output.data(), 0, BufferFlags::invalid};
            processBlock(chains, {format.inputChannels, format.outputChannels, b % 10 == 9, nullptr}, in, out);
        }
    }

    StreamFormat format;
    Chains chains;
    std::vector<float> input;
    std::vector<float> output;
};

const struct {
    StreamFormat format;
    const char* from;
    const char* to;
} cases[] = {
    {{48000, 0, 2, 2, 3, 480}, "", "Boost: 120 dB 0"},
    {{48000, 0, 2, 2, 3, 480}, "Boost: 200 dB 0", "Boost: 120 dB 1"},
    {{48000, 0, 2, 2, 3, 480},
     "Boost: 60 dB 1\nEqualizer: 100 -3 1000 0 10000 6",
     "Equalizer: 1000 3\nBoost: 30 dB 0"},
    {{48000, 0, 8, 8, 0x63F, 128}, "Boost: 60 dB 1", "Equalizer: 100 -3 1000 0 10000 6"},
    {{44100, 0, 6, 2, 3, 441}, "Boost: 60 dB 0", "Equalizer: 1000 6"},
    {{48000, 0, 1, 6, 0x3F, 240}, "Equalizer: 50 3", ""},
    {{96000, 0, 20, 20, 0, 64}, "Boost: 150 dB 1", "Boost: 0 dB 0"},
    {{48000, 0, 2, 2, 3, 480}, "Maximizer: 0 dB", "Maximizer: 120 dB -10"},
    {{384000, 0, 17, 17, 0, 480}, "Boost: 0 dB 0", "Maximizer: 200 dB"},
};

TEST(RealtimeSafety, NoBlockAllocatesLocksOrMakesASystemCall) {
    const test::ChosenAgain atEnd;
    for (const auto* const pKernels : availableKernels()) {
        for (const auto* const pEngine : availableConvolverEngines()) {
            ASSERT_TRUE(forceKernels(pKernels->name) && forceConvolverEngine(pEngine->name));
            ASSERT_TRUE(forceLimiterLoops(pEngine->pLoops == nullptr ? "sse2" : pEngine->name));
            for (const auto& c : cases) {
                Stream stream(c.format, c.from, c.to);
                const auto play = [&stream] { stream.play(); };
                expectWithoutSystemCalls(play, testing::ExitedWithCode(0));
                playGuarded(play);
                EXPECT_TRUE(stream.chains.swapped) << "the fade took place under the guard";
            }
        }
    }
}

const std::vector<float> taps(1500, 0.01F);

/// A convolver of three channels and what it works on.
struct Convolver {
    Convolver(const ConvolverEngine& engine, std::uint32_t blockFrames)
        : samples(3 * std::size_t{blockFrames}, 0.5F), pConvolver(engine.make({taps, blockFrames, 3})) {
        for (std::size_t c = 0; c < 3; ++c) {
            channels[c] = samples.data() + c * blockFrames;
        }
    }
    /// Enough for the ring of partitions to turn whole, and every tile with it.
    void play() {
        const std::size_t blocks = taps.size() / (samples.size() / 3) + 4;
        for (std::size_t block = 0; block < blocks; ++block) {
            pConvolver->process(channels, channels);
        }
    }
    std::vector<float> samples;
    BlockConvolverPtr pConvolver;
    float* channels[3]{};
};

/// Every length for which an engine promises it, and for engines of our own that is every length.
TEST(RealtimeSafety, NoBlockOfAnyLengthAllocatesLocksOrMakesASystemCall) {
    constexpr std::uint32_t last = 4096;
    constexpr std::uint32_t together = 256;
    for (const auto* const pEngine : availableConvolverEngines()) {
        for (std::uint32_t first = 1; first <= last; first += together) {
            std::vector<Convolver> convolvers;
            for (std::uint32_t blockFrames = first; blockFrames < first + together; ++blockFrames) {
                const bool promised = pEngine->blocksAllocateNothing(blockFrames);
                ASSERT_TRUE(promised || pEngine->name == "fftw") << blockFrames;
                if (promised) {
                    convolvers.emplace_back(*pEngine, blockFrames);
                    ASSERT_TRUE(convolvers.back().pConvolver) << blockFrames;
                }
            }
            const auto play = [&convolvers] {
                for (Convolver& convolver : convolvers) {
                    convolver.play();
                }
            };
            playGuarded(play);
            expectWithoutSystemCalls(play, testing::ExitedWithCode(0));
        }
    }
}

TEST(RealtimeSafetyCheck, CatchesWhatItIsFor) {
    static std::mutex mutex;
    [[maybe_unused]] static void* volatile pBlock = nullptr;
    const struct {
        const char* call;
        std::function<void()> planted;
    } violations[] = {
        {"malloc", [] { pBlock = std::malloc(64); }},
        {"pthread_mutex_lock", [] { mutex.lock(); }},
        {"free", [block = std::malloc(8)] { std::free(block); }},
    };
    Stream stream(cases[0].format, cases[0].from, cases[0].to);
    const auto play = [&stream] { stream.play(); };
    for (const auto& violation : violations) {
        stream.chains.planted = violation.planted;
        EXPECT_DEATH(playGuarded(play), violation.call);
    }
    void (*const systemCalls[])(){[] { getppid(); }, [] { static_cast<void>(!write(STDOUT_FILENO, "", 0)); }};
    for (const auto systemCall : systemCalls) {
        stream.chains.planted = systemCall;
        expectWithoutSystemCalls(play, testing::KilledBySignal(SIGSYS));
    }
}

} // namespace
