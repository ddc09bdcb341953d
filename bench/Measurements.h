#pragma once

#include <xmmintrin.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <string_view>
#include <vector>

namespace tovix::bench {

/// From here on denormal numbers count as zero on this thread, as they do in the effect.
inline void switchDenormalsOff() {
    constexpr unsigned flushToZero = 0x8000;
    constexpr unsigned denormalsAreZero = 0x0040;
    _mm_setcsr(_mm_getcsr() | flushToZero | denormalsAreZero);
}

/// Nanoseconds that `work` takes by the clock.
template <class Work> double nsOf(Work work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count();
}

/// The batches of one contestant. Another program on the machine slows some of them down: those that took much longer
/// than the fastest are left out.
class Batches {
public:
    void add(double ns) { m_ns.push_back(ns); }

    /// Median of the undisturbed ones.
    [[nodiscard]] double median() const {
        std::vector<double> kept = undisturbed();
        const auto middle = kept.begin() + static_cast<std::ptrdiff_t>(kept.size() / 2);
        std::nth_element(kept.begin(), middle, kept.end());
        return *middle;
    }
    [[nodiscard]] std::size_t keptCount() const { return undisturbed().size(); }
    [[nodiscard]] std::size_t count() const { return m_ns.size(); }

private:
    static constexpr double disturbedRatio = 1.2;

    [[nodiscard]] std::vector<double> undisturbed() const {
        const double limit = disturbedRatio * *std::min_element(m_ns.begin(), m_ns.end());
        std::vector<double> kept;
        std::copy_if(m_ns.begin(), m_ns.end(), std::back_inserter(kept), [limit](double ns) { return ns <= limit; });
        return kept;
    }

    std::vector<double> m_ns;
};

/// What a figure is of.
struct Subject {
    std::string_view what;
    std::uint32_t blockFrames;
    std::uint32_t channelCount;
    std::string_view who;
};

/// The one line that a program prints for each figure, and that scripts/bench reads:
/// what,block,channels,who,value,batches kept,batches. Those that are not batches come with 1 of 1.
inline void report(const Subject& subject, double value, std::size_t kept = 1, std::size_t count = 1) {
    std::printf("%.*s,%u,%u,%.*s,%.4g,%zu,%zu\n", static_cast<int>(subject.what.size()), subject.what.data(),
                subject.blockFrames, subject.channelCount, static_cast<int>(subject.who.size()), subject.who.data(),
                value, kept, count);
    std::fflush(stdout);
}

inline void report(const Subject& subject, const Batches& batches) {
    report(subject, batches.median(), batches.keptCount(), batches.count());
}

} // namespace tovix::bench
