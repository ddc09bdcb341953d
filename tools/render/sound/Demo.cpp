#include "render/sound/Demo.h"

#include "render/sound/SpeakerMask.h"

#include <sndfile.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>

namespace tovix::render {
namespace {

constexpr double twoPi = 2.0 * std::numbers::pi;

struct Frame {
    double left = 0.0;
    double right = 0.0;
};

double sine(double hz, double seconds) {
    return std::sin(twoPi * hz * seconds);
}

/// White noise in -1 to 1 as a function of the sample's number (the SplitMix64 mixer), so that it is the same
/// wherever it is made.
double noise(std::uint64_t number) {
    std::uint64_t z = number * 0x9E3779B97F4A7C15U + 0x9E3779B97F4A7C15U;
    z = (z ^ (z >> 30U)) * 0xBF58476D1CE4E5B9U;
    z = (z ^ (z >> 27U)) * 0x94D049BB133111EBU;
    return static_cast<double>((z ^ (z >> 31U)) >> 11U) * 0x1p-52 - 1.0;
}

double noiseAt(double seconds, std::uint64_t stream) {
    return noise((stream << 32U) + static_cast<std::uint64_t>(seconds * demoRateHz));
}

/// 1 in the middle of `length` seconds, 0 at both ends, with raised-cosine edges of `edge` seconds.
double window(double seconds, double length, double edge) {
    const double inside = std::min(seconds, length - seconds);
    return inside <= 0.0 ? 0.0 : inside >= edge ? 1.0 : 0.5 - 0.5 * std::cos(std::numbers::pi * inside / edge);
}

/// One tone after the other, from left to right, and a chord at the end.
Frame tones(double t) {
    constexpr std::array hz{110.0, 220.0, 440.0, 880.0, 1760.0};
    constexpr double noteSeconds = 0.4;
    const double amplitude = 0.12;
    const auto note = static_cast<std::size_t>(t / noteSeconds);
    if (note < hz.size()) {
        const double pan = static_cast<double>(note) / (hz.size() - 1.0);
        const double s =
            amplitude * sine(hz[note], t) * window(t - static_cast<double>(note) * noteSeconds, noteSeconds, 0.02);
        return {s * std::cos(pan * std::numbers::pi / 2), s * std::sin(pan * std::numbers::pi / 2)};
    }
    Frame chord;
    for (std::size_t i = 0; i < hz.size(); ++i) {
        (i % 2 == 0 ? chord.left : chord.right) += 0.5 * amplitude * sine(hz[i] * 1.5, t);
    }
    return chord;
}

/// Exponential sweep: the same time for every octave.
Frame sweep(double t) {
    constexpr double lowestHz = 20.0;
    constexpr double highestHz = 20000.0;
    constexpr double seconds = 5.0;
    const double rate = std::log(highestHz / lowestHz) / seconds;
    const double s = 0.25 * std::sin(twoPi * lowestHz / rate * (std::exp(rate * t) - 1.0));
    return {s, s};
}

/// Harmonics of a voice under two formant peaks.
double vowel(double t, double pitchHz, double firstFormantHz, double secondFormantHz) {
    constexpr int harmonics = 30;
    constexpr double widthHz = 160.0;
    double sum = 0.0;
    for (int h = 1; h <= harmonics; ++h) {
        const double hz = pitchHz * h;
        const double first = (hz - firstFormantHz) / widthHz;
        const double second = (hz - secondFormantHz) / widthHz;
        const double weight = 1.0 / (1.0 + first * first) + 0.5 / (1.0 + second * second) + 0.05 / h;
        sum += weight * std::sin(twoPi * hz * t + 0.7 * h * h);
    }
    return sum;
}

/// Syllables of a hiss and a vowel, with pauses between the words.
Frame speech(double t) {
    struct Syllable {
        double pitchHz, firstFormantHz, secondFormantHz;
    };
    constexpr std::array<Syllable, 5> syllables{
        {{118, 730, 1090}, {124, 270, 2290}, {112, 570, 840}, {0, 0, 0}, {105, 530, 1840}}};
    constexpr double syllableSeconds = 0.225;
    constexpr double hissSeconds = 0.06;
    const auto number = static_cast<std::size_t>(t / syllableSeconds);
    const auto& syllable = syllables[number % syllables.size()];
    if (syllable.pitchHz == 0.0) {
        return {};
    }
    const double inside = t - static_cast<double>(number) * syllableSeconds;
    const double hiss = 0.08 * (noiseAt(t, 1) - noiseAt(t - 1.0 / demoRateHz, 1)) * window(inside, hissSeconds, 0.02);
    const double voice = 0.07 * vowel(t, syllable.pitchHz, syllable.firstFormantHz, syllable.secondFormantHz) *
                         window(inside - 0.04, syllableSeconds - 0.05, 0.04);
    return {0.9 * (hiss + voice), hiss + voice};
}

/// About 60 dB below full scale.
Frame farBelow(double t) {
    const double tone = 0.001 * sine(330.0, t);
    return {tone + 0.0003 * noiseAt(t, 2), 0.7 * tone + 0.0003 * noiseAt(t, 3)};
}

/// A beat over a chord; the amplitudes add up to 0.97.
Frame closeToFullScale(double t) {
    const double beat = std::fmod(t, 0.5);
    const double kick =
        0.5 * std::exp(-9.0 * beat) * std::sin(twoPi * (50.0 * beat + 6.0 * (1.0 - std::exp(-25 * beat))));
    const double low = 0.17 * sine(146.8, t);
    return {kick + low + 0.18 * sine(440.0, t) + 0.12 * sine(1174.7, t),
            kick + low + 0.18 * sine(587.3, t) + 0.12 * sine(1760.0, t)};
}

Frame dyingString(double t) {
    Frame sum;
    for (int h = 1; h <= 8; ++h) {
        const double partial = 0.25 / h * std::exp(-(3.0 + h) * t) * sine(196.0 * h, t);
        sum.left += partial;
        sum.right += h % 2 == 0 ? -partial : partial;
    }
    return sum;
}

struct Passage {
    double seconds;
    Frame (*frameAt)(double seconds);
};

constexpr std::array<Passage, 6> passages{
    {{3.0, tones}, {5.0, sweep}, {4.5, speech}, {2.5, farBelow}, {3.5, closeToFullScale}, {1.5, dyingString}}};

class DemoSource final : public ISource {
public:
    DemoSource() : m_samples(makeDemoProgramme()) {
        m_format = {.sampleRateHz = demoRateHz,
                    .channels = demoChannels,
                    .channelMask = usualSpeakerMask(demoChannels),
                    .frames = m_samples.size() / demoChannels,
                    .name = "demo programme",
                    .kind = "generated",
                    .fileFormat = SF_FORMAT_WAV | SF_FORMAT_FLOAT};
    }

    [[nodiscard]] const SourceFormat& format() const noexcept override { return m_format; }

    std::size_t read(float* samples, std::size_t frameCount) override {
        const std::size_t count = std::min(frameCount * demoChannels, m_samples.size() - m_position);
        std::copy_n(m_samples.data() + m_position, count, samples);
        m_position += count;
        return count / demoChannels;
    }

private:
    std::vector<float> m_samples;
    std::size_t m_position = 0;
    SourceFormat m_format;
};

} // namespace

std::vector<float> makeDemoProgramme() {
    constexpr double edgeSeconds = 0.01;
    std::vector<float> samples;
    for (const auto& passage : passages) {
        const auto frames = static_cast<std::size_t>(std::lround(passage.seconds * demoRateHz));
        for (std::size_t f = 0; f < frames; ++f) {
            const double t = static_cast<double>(f) / demoRateHz;
            const double gain = window(t, passage.seconds, edgeSeconds);
            const Frame frame = passage.frameAt(t);
            samples.push_back(static_cast<float>(gain * frame.left));
            samples.push_back(static_cast<float>(gain * frame.right));
        }
    }
    return samples;
}

std::unique_ptr<ISource> openDemo() {
    return std::make_unique<DemoSource>();
}

} // namespace tovix::render
