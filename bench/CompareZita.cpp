// Compares the stereo convolver with zita-convolver at the same filter and block length. The two take turns of a few
// milliseconds, and what counts is the median of the turns' ratios: on a shared machine that slows down for a tenth
// of a second at a time, both runs of a pair are slowed down alike.

#include "BenchSignals.h"

#include <zita-convolver.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

using namespace tovix;
using namespace tovix::bench;

namespace {

constexpr std::uint32_t channelCount = 2;
constexpr int pairCount = 301;
constexpr double turnSeconds = 3e-3;

/// zita-convolver in vector mode with uniform partitions of one block, all work done inside `process`.
class Zita {
public:
    Zita(std::vector<float> h, std::span<const float> input) : m_input(input) {
        const auto block = static_cast<unsigned>(input.size());
        m_engine.set_options(Convproc::OPT_VECTOR_MODE);
        m_ready = m_engine.configure(channelCount, channelCount, static_cast<unsigned>(h.size()), block, block, block,
                                     0.0F) == 0;
        for (unsigned c = 0; c < channelCount && m_ready; ++c) {
            m_ready = m_engine.impdata_create(c, c, 1, h.data(), 0, static_cast<int>(h.size())) == 0;
        }
        m_ready = m_ready && m_engine.start_process(0, 0) == 0;
    }
    ~Zita() {
        m_engine.stop_process();
        m_engine.cleanup();
    }
    Zita(const Zita&) = delete;
    Zita& operator=(const Zita&) = delete;

    [[nodiscard]] bool ready() const { return m_ready; }
    std::span<const float> output() { return {m_engine.outdata(channelCount - 1), m_input.size()}; }

    void process() {
        for (unsigned c = 0; c < channelCount; ++c) {
            std::memcpy(m_engine.inpdata(c), m_input.data(), m_input.size_bytes());
        }
        m_engine.process(true);
    }

private:
    Convproc m_engine;
    std::span<const float> m_input;
    bool m_ready = false;
};

template <class Engine> double secondsOf(Engine& engine, int blocks) {
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < blocks; ++i) {
        engine.process();
    }
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
    return values[values.size() / 2];
}

/// Largest difference of two blocks, relative to the peak of the first.
double difference(std::span<const float> a, std::span<const float> b) {
    double peak = 0.0;
    double worst = 0.0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        peak = std::max(peak, std::abs(static_cast<double>(a[i])));
        worst = std::max(worst, std::abs(static_cast<double>(a[i]) - b[i]));
    }
    return worst / peak;
}

bool compare(std::uint32_t blockFrames) {
    const std::vector<float> h = decayingNoise(tapCount);
    ConvolverBank ours{channelCount, h, blockFrames};
    Zita zita{h, ours.input()};
    if (!ours.ready() || !zita.ready()) {
        std::fprintf(stderr, "A convolver for blocks of %u frames could not be made.\n", blockFrames);
        return false;
    }
    const auto warmUp = static_cast<int>(2 * tapCount / blockFrames + 2);
    const double oursSeconds = secondsOf(ours, warmUp);
    secondsOf(zita, warmUp);
    if (difference(ours.output(), zita.output()) > 1e-5) {
        std::fprintf(stderr, "The two convolvers disagree at blocks of %u frames.\n", blockFrames);
        return false;
    }
    const int blocks = std::max(1, static_cast<int>(turnSeconds / (oursSeconds / warmUp)));
    const double nsPerSample = 1e9 / (static_cast<double>(blocks) * blockFrames * channelCount);
    std::vector<double> oursNs;
    std::vector<double> zitaNs;
    std::vector<double> ratios;
    for (int i = 0; i < pairCount; ++i) {
        const bool oursFirst = i % 2 == 0;
        const double first = oursFirst ? secondsOf(ours, blocks) : secondsOf(zita, blocks);
        const double second = oursFirst ? secondsOf(zita, blocks) : secondsOf(ours, blocks);
        oursNs.push_back((oursFirst ? first : second) * nsPerSample);
        zitaNs.push_back((oursFirst ? second : first) * nsPerSample);
        ratios.push_back(oursNs.back() / zitaNs.back());
    }
    std::printf("%6u %10.2f %10.2f %10.3f\n", blockFrames, median(oursNs), median(zitaNs), median(ratios));
    return true;
}

} // namespace

int main() {
    std::printf("Stereo, %u taps; ns per sample per channel, medians of %d turns\n", tapCount, pairCount);
    std::printf("%6s %10s %10s %10s\n", "block", "ours", "zita", "ours/zita");
    bool compared = true;
    for (const std::uint32_t blockFrames : {64U, 128U, 256U, 512U, 1024U}) {
        compared = compare(blockFrames) && compared;
    }
    return compared ? EXIT_SUCCESS : EXIT_FAILURE;
}
