// How long a change of the settings takes to be heard: from the signal to the return of the block that holds the
// first changed sample, while the audio engine asks for a block every 10 ms. Both sides are played to the effect's
// library. For Windows.
//
//     tovix-settings-latency [CHANGES]
//
// The lines are as Measurements.h has them.

#include "Measurements.h"
#include "render/engine/DeviceProperties.h"
#include "render/engine/EffectModule.h"
#include "render/engine/EffectStream.h"
#include "support/SettingsWriter.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

using namespace tovix;
using namespace tovix::bench;

namespace {

using Clock = std::chrono::steady_clock;
using Ms = std::chrono::duration<double, std::milli>;

constexpr std::uint32_t blockFrames = 480;
constexpr auto blockTime = std::chrono::milliseconds(10);

/// Level curves of an equalizer, whose output for a constant sound is constant from the first sample on.
constexpr const char* settings[]{"Equalizer: 1000 -3", "Equalizer: 1000 -9"};

/// A stream with a block every 10 ms.
class PacedStream {
public:
    explicit PacedStream(IUnknown& effect)
        : m_stream(effect, render::DeviceProperties(std::nullopt), {48000, 2, 2, 2, 0, 0, 0, blockFrames}),
          m_input(std::size_t{blockFrames} * 2, 0.25F), m_output(m_input.size()) {}

    /// The next block when its time has come; whether it differs from what the stream gave at `settle`.
    bool differs() {
        m_due += blockTime;
        std::this_thread::sleep_until(m_due);
        m_stream.process(m_input.data(), m_output.data());
        return std::any_of(m_output.begin(), m_output.end(),
                           [this](float sample) { return std::abs(sample - m_level) > 1e-5F; });
    }

    /// Plays on until a fade that has begun is over.
    void settle() {
        constexpr int fadeBlocks = 3;
        for (int i = 0; i < fadeBlocks; ++i) {
            static_cast<void>(differs());
        }
        m_level = m_output.back();
    }

private:
    render::EffectStream m_stream;
    std::vector<float> m_input;
    std::vector<float> m_output;
    Clock::time_point m_due = Clock::now();
    float m_level = 0.0F;
};

/// Ms from the signal, which another thread gives at any point of a block's time, to the first changed block;
/// negative where none came.
double changeMs(PacedStream& stream, test::SettingsWriter& writer, const char* text, Ms wait) {
    constexpr int mostBlocks = 500;
    Clock::time_point signalled;
    std::thread control([&] {
        std::this_thread::sleep_for(wait);
        writer.write(text);
        signalled = Clock::now();
        writer.signal();
    });
    int blocks = 1;
    while (blocks < mostBlocks && !stream.differs()) {
        ++blocks;
    }
    const auto heard = Clock::now();
    control.join();
    return blocks < mostBlocks ? Ms(heard - signalled).count() : -1.0;
}

} // namespace

int main(int argc, char** argv) {
    const int count = argc > 1 ? std::atoi(argv[1]) : 300;
    test::SettingsWriter writer{settings[0]};
    const render::EffectModule module{{}};
    PacedStream stream{*module.createEffect()};
    std::mt19937 generator{11};
    std::uniform_real_distribution<double> phaseMs{0.0, 10.0};
    std::vector<double> ms;
    for (int change = 1; change <= count; ++change) {
        stream.settle();
        ms.push_back(changeMs(stream, writer, settings[change % 2], Ms{phaseMs(generator)}));
        if (ms.back() < 0.0) {
            std::fputs("A change of the settings was not heard.\n", stderr);
            return EXIT_FAILURE;
        }
    }
    std::sort(ms.begin(), ms.end());
    const auto at = [&ms](std::size_t percent) { return ms[(ms.size() - 1) * percent / 100]; };
    report({"change ms", blockFrames, 2, "median"}, at(50), ms.size(), ms.size());
    report({"change ms", blockFrames, 2, "99 %"}, at(99), ms.size(), ms.size());
    report({"change ms", blockFrames, 2, "longest"}, ms.back(), ms.size(), ms.size());
    return EXIT_SUCCESS;
}
