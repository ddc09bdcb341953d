#include "filters/EffectEqualizer.h"
#include "convolution/ConvolverEngine.h"
#include "convolution/PlannerLock.h"
#include "filters/Elementary.h"
#include "memory/MemoryMgr.h"

#include "support/ChosenAgain.h"
#include "support/DrawnCurve.h"
#include "support/LogCapture.h"
#include "support/Planar.h"

#include <gtest/gtest.h>

#include <complex>
#include <mutex>
#include <utility>
#include <valarray>

using namespace tovix;
using namespace tovix::test;

namespace {

using Complex = std::complex<double>;
using Spectrum = std::valarray<Complex>;

constexpr std::uint32_t tapCount = 16384;
const std::vector<ResponsePoint> tilt{{100.0, -3.0}, {1000.0, 0.0}, {10000.0, 6.0}};
/// With a jump at one frequency.
const std::vector<ResponsePoint> steep{
    {80.0, -60.0}, {120.0, 6.0}, {5000.0, -12.0}, {5000.0, 12.0}, {15000.0, -40.0}};
/// Without a gain between 0 and 500 Hz and between 2000 and 4000 Hz.
const std::vector<ResponsePoint> undefined{{-50.0, 3.0}, {500.0, 6.0}, {2000.0, -HUGE_VAL}, {4000.0, 0.0}};

/// Fourier transform of a power of two of points, in double precision; `sign` is that of the exponent.
Spectrum transform(const Spectrum& x, double sign) {
    const std::size_t half = x.size() / 2;
    if (half == 0) {
        return x;
    }
    const Spectrum even = transform(x[std::slice(0, half, 2)], sign);
    const Spectrum odd = transform(x[std::slice(1, half, 2)], sign);
    Spectrum y(x.size());
    for (std::size_t k = 0; k < half; ++k) {
        const double phase = sign * std::numbers::pi * static_cast<double>(k) / static_cast<double>(half);
        y[k] = even[k] + std::polar(1.0, phase) * odd[k];
        y[k + half] = even[k] - std::polar(1.0, phase) * odd[k];
    }
    return y;
}

/// The design in double precision: the cepstrum of the mirrored log-magnitude, folded, and windowed at the end.
std::vector<double> designInDouble(const std::vector<ResponsePoint>& points, double sampleRateHz) {
    const std::size_t bins = 2 * std::size_t{tapCount};
    const auto scale = static_cast<double>(bins);
    Spectrum spectrum(bins);
    for (std::size_t k = 0; k < tapCount; ++k) {
        const double drawn = drawnDb(points, static_cast<double>(k) * sampleRateHz / scale);
        const double gainDb = drawn > -100.0 ? drawn : -100.0; // the floor also where there is no number
        spectrum[k] = spectrum[bins - 1 - k] = gainDb * std::numbers::ln10 / 20.0;
    }
    Spectrum cepstrum = transform(spectrum, 1.0);
    for (std::size_t n = 1; n < tapCount; ++n) {
        cepstrum[n] += std::conj(cepstrum[bins - n]);
        cepstrum[bins - n] = 0.0;
    }
    cepstrum[tapCount] = std::conj(cepstrum[tapCount]);
    cepstrum /= scale;
    const Spectrum time = transform(std::exp(transform(cepstrum, -1.0)), 1.0);
    std::vector<double> h;
    for (std::size_t n = 0; n < tapCount; ++n) {
        const double window = 0.5 + 0.5 * std::cos(2.0 * std::numbers::pi * static_cast<double>(n) / scale);
        h.push_back(time[n].real() / scale * window);
    }
    return h;
}

/// Each test with each engine in force.
class EffectEqualizerWith : public testing::TestWithParam<const ConvolverEngine*> {
protected:
    EffectEqualizerWith() { forceConvolverEngine(GetParam()->name); }

private:
    ChosenAgain m_atEnd;
};

INSTANTIATE_TEST_SUITE_P(Engines, EffectEqualizerWith, testing::ValuesIn(availableConvolverEngines()), byName);

TEST_P(EffectEqualizerWith, IsTheDirectConvolutionWithADoublePrecisionDesign) {
    const struct {
        std::vector<ResponsePoint> points;
        float sampleRateHz;
        std::uint32_t blockFrames;
    } cases[] = {
        {tilt, 48000.0F, 480},   {tilt, 192000.0F, 1920},    {{{1000.0, 6.0}}, 48000.0F, 128},   {{}, 48000.0F, 480},
        {steep, 44100.0F, 1024}, {undefined, 48000.0F, 480}, {{{1000.0, -300.0}}, 48000.0F, 128}};
    for (const auto& c : cases) {
        const std::vector<double> h = designInDouble(c.points, c.sampleRateHz);
        EffectEqualizer equalizer{c.points, tapCount};
        EXPECT_EQ(equalizer.setup(c.sampleRateHz, c.blockFrames, {L"L", L"R"}), (ChannelList{L"L", L"R"}));
        const Planar inputs = planarNoise(2, (2 * tapCount / c.blockFrames) * c.blockFrames);
        Planar outputs = inputs;
        play(equalizer, outputs, c.blockFrames);
        for (std::size_t channel = 0; channel < 2; ++channel) {
            const auto direct = [&](std::size_t t) { return convolvedAt<double>(inputs[channel], h, t); };
            EXPECT_LT(relativeError(outputs[channel], 37, direct), 2e-5)
                << "channel " << channel << ", blocks of " << c.blockFrames;
        }
    }
}

TEST_P(EffectEqualizerWith, IsInertWhenThereIsNothingSoundToApply) {
    const struct {
        const char* why;
        std::vector<ResponsePoint> points;
        std::uint32_t blockFrames = 480;
        ChannelList channels{L"L"};
    } cases[] = {
        {"infinite gain", {{1000.0, 1e6}}},
        {"overflow in the design", {{1000.0, 770.0}, {2000.0, -770.0}}},
        {"gain of plus infinity in the middle", {{100.0, 0.0}, {1000.0, HUGE_VAL}, {2000.0, 0.0}}},
        {"no frames", tilt, 0},
        {"no channels", tilt, 480, {}},
    };
    for (const auto& c : cases) {
        EffectEqualizer equalizer{c.points, tapCount};
        equalizer.setup(48000.0F, 480, {L"L", L"R"});
        equalizer.setup(48000.0F, c.blockFrames, c.channels);
        Planar sound = planarNoise(1, 480);
        play(equalizer, sound, 480);
        EXPECT_EQ(sound, planarNoise(1, 480)) << c.why;
    }
}

TEST_P(EffectEqualizerWith, NamesTheEngineAndWarnsOnceOfABlockLengthWhoseBlocksAllocate) {
    for (const std::uint32_t blockFrames : {480U, 441U, 961U, 1U, 479U, 37U, 2U * 9U * 37U}) {
        const bool clean = GetParam()->name != "fftw" || (blockFrames % 479 != 0 && blockFrames % 37 != 0);
        const LogCapture capture(LogLevel::Info);
        EffectEqualizer equalizer{tilt, tapCount};
        equalizer.setup(48000.0F, blockFrames, {L"L", L"R"});
        ASSERT_EQ(capture.lines().size(), clean ? 1U : 2U) << blockFrames;
        EXPECT_TRUE(capture.lines()[0].ends_with("Convolution engine: " + std::string{GetParam()->name}));
        if (!clean) {
            EXPECT_TRUE(capture.lines()[1].starts_with("WARNING ")) << capture.lines()[1];
            EXPECT_TRUE(capture.lines()[1].ends_with(" in every block: " + std::to_string(blockFrames)));
        }
    }
}

/// A planner's lock, which stays installed, how often it is taken, and the requests that RtAllocator gets meanwhile.
struct CountingLock {
    static inline std::mutex mutex;
    static inline bool held = false;
    static inline int taken = 0;
    static inline int requests = 0;

    static void acquire() noexcept {
        mutex.lock();
        held = true;
        ++taken;
    }
    static void release() noexcept {
        held = false;
        mutex.unlock();
    }
    /// Refuses: the heap serves instead.
    static RtResult allocate(std::size_t, void**) noexcept {
        requests += held ? 1 : 0;
        return -1;
    }
};

TEST_P(EffectEqualizerWith, TakesThePlannersLockOnceForAllPlansItMakesAndAllItDestroysTogether) {
    const RtAllocator allocatorBefore = rtAllocator();
    installPlannerLock({CountingLock::acquire, CountingLock::release});
    installRtAllocator({CountingLock::allocate, allocatorBefore.release});
    const bool planned = GetParam()->name == "fftw";
    for (const std::size_t channelCount : {1U, 2U, 8U}) {
        {
            EffectEqualizer equalizer{tilt, tapCount};
            equalizer.setup(48000.0F, 480, ChannelList(channelCount, L"x"));
            EXPECT_EQ(std::exchange(CountingLock::taken, 0), planned ? 3 : 2) << "the design's plans come and go";
        }
        EXPECT_EQ(std::exchange(CountingLock::taken, 0), planned ? 1 : 0) << channelCount;
    }
    EXPECT_EQ(CountingLock::requests, 0) << "of RtAllocator while the lock is held";
    installRtAllocator(allocatorBefore);
}

TEST(Elementary, LogarithmsAndExponentialsAgreeWithTheLibrarys) {
    for (double x = 1e-300; x < 1e300; x *= 1.37) {
        EXPECT_NEAR(naturalLog(x), std::log(x), 3e-16 * std::max(1.0, std::fabs(std::log(x)))) << x;
    }
    for (double re = -199.0; re < 200.0; re += 7.3) {
        for (double im = -999.0; im < 1000.0; im += 12.345) {
            const Complex error = exponential({re, im}) - std::polar(std::exp(re), im);
            EXPECT_LT(std::abs(error), 1e-12 * std::exp(re)) << re << " " << im;
        }
    }
    EXPECT_LT(exponential({-1e9, 0.0}).real(), 1e-80);
}

} // namespace
