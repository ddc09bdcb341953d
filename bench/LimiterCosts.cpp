#include "LimiterCosts.h"

#include "LimiterSounds.h"
#include "Measurements.h"
#include "filters/EffectBoost.h"
#include "filters/EffectMaximizer.h"
#include "render/sound/Demo.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <limits>
#include <numbers>
#include <utility>

namespace tovix::bench {
namespace {

constexpr std::int32_t level = 60;
constexpr std::size_t soundFrames = std::size_t{75} * 480;
constexpr int rounds = 200;
/// What the maximizer may cost, in ns per frame of stereo, and 99 % of its blocks over their median.
constexpr double idleNs = 1.5;
constexpr double limitingNs = 6.0;
constexpr double mostUnevenness = 1.5;

std::vector<float> tone(float amplitude) {
    std::vector<float> sound(soundFrames);
    for (std::size_t f = 0; f < sound.size(); ++f) {
        // 200 Hz fits the length.
        sound[f] = amplitude * static_cast<float>(
                                   std::sin(2.0 * std::numbers::pi * 200.0 * static_cast<double>(f) / soundRateHz));
    }
    return sound;
}

/// Every frame a new largest of the window, the one that comes or the one that stays when another leaves.
std::vector<float> ramp(float first, float last) {
    std::vector<float> sound(soundFrames);
    for (std::size_t f = 0; f < sound.size(); ++f) {
        sound[f] = first + (last - first) * static_cast<float>(f) / static_cast<float>(soundFrames);
    }
    return sound;
}

struct Case {
    const char* what;
    std::vector<float> sound;
    double mostNs;
};

/// The left channel of the demo programme's passage near full scale, 6 dB louder.
std::vector<float> loudMusic() {
    const std::vector<float> stereo = render::makeDemoProgramme();
    std::vector<float> left;
    for (std::size_t f = framesOf(15100); f < framesOf(18300); ++f) {
        left.push_back(2.0F * stereo[2 * f]);
    }
    return left;
}

} // namespace

BlockCosts::BlockCosts(std::unique_ptr<IFilter> filter, std::vector<float> sound, std::uint32_t blockFrames)
    : m_filter(std::move(filter)), m_sound(std::move(sound)), m_blockFrames(blockFrames), m_left(blockFrames),
      m_right(blockFrames), m_blockNs(m_sound.size() / blockFrames, std::numeric_limits<double>::max()) {
    m_filter->setup(static_cast<float>(soundRateHz), blockFrames, ChannelList(2, L"x"));
}

void BlockCosts::playOnce() {
    std::array<float*, 2> pointers{m_left.data(), m_right.data()};
    for (std::size_t block = 0; block < m_blockNs.size(); ++block) {
        for (float* const channel : pointers) {
            std::copy_n(m_sound.data() + block * m_blockFrames, m_blockFrames, channel);
        }
        const double ns = nsOf([&] { m_filter->process(pointers.data(), pointers.data(), m_blockFrames); });
        m_blockNs[block] = std::min(m_blockNs[block], ns);
    }
}

double BlockCosts::nsPerFrame(double share) const {
    std::vector<double> sorted = m_blockNs;
    std::sort(sorted.begin(), sorted.end());
    const auto last = static_cast<double>(sorted.size() - 1);
    return sorted[static_cast<std::size_t>(std::lround(share * last))] / m_blockFrames;
}

void printLimiterCosts(Outcome& outcome) {
    const Case cases[]{{"below the ceiling", tone(0.3F), idleNs},
                       {"a steady tone", tone(0.9F), limitingNs},
                       {"noise", flatNoise(soundFrames, 1.0F), limitingNs},
                       {"rising in every frame", ramp(0.6F, 8.0F), limitingNs},
                       {"falling in every frame", ramp(8.0F, 0.6F), limitingNs},
                       {"loud music, 12 dB louder", loudMusic(), limitingNs}};
    std::printf("| Sound | frames | `--limit` | 99 %% of blocks, over the median | `--clean` | 99 %% of blocks, over "
                "the median "
                "| bars of `--clean` | |\n|---|---:|---:|---:|---:|---:|---:|---|\n");
    for (const Case& some : cases) {
        for (const std::uint32_t blockFrames : {480U, 441U}) {
            BlockCosts limit(std::make_unique<EffectBoost>(level, true), some.sound, blockFrames);
            BlockCosts clean(std::make_unique<EffectMaximizer>(level, 0), some.sound, blockFrames);
            for (int round = 0; round < rounds; ++round) {
                limit.playOnce();
                clean.playOnce();
            }
            const double ns = clean.nsPerFrame(0.5);
            const double unevenness = clean.unevenness();
            const char* const cost = outcome.judge(ns, {}, some.mostNs);
            const char* const evenness = outcome.judge(unevenness, {}, mostUnevenness);
            std::printf("| %s | %u | %.2f | %.2f | %.2f | %.2f | ≤ %g, ≤ %g | %s, %s |\n", some.what, blockFrames,
                        limit.nsPerFrame(0.5), limit.unevenness(), ns, unevenness, some.mostNs, mostUnevenness, cost,
                        evenness);
        }
    }
}

} // namespace tovix::bench
