#pragma once

#include <chrono>
#include <cstdint>

namespace tovix::render {

/// How long the effect took for its blocks. [control]
class BlockTiming {
public:
    using Clock = std::chrono::steady_clock;

    /// Runs `block` and measures its time.
    template <class Block> void measure(Block&& block) {
        const auto start = Clock::now();
        block();
        add(Clock::now() - start);
    }

    [[nodiscard]] std::uint64_t blockCount() const noexcept { return m_count; }
    [[nodiscard]] double totalSeconds() const noexcept { return seconds(m_total); }
    [[nodiscard]] double meanMicroseconds() const noexcept {
        return m_count == 0 ? 0.0 : totalSeconds() * 1e6 / static_cast<double>(m_count);
    }
    [[nodiscard]] double worstMicroseconds() const noexcept { return seconds(m_worst) * 1e6; }
    /// Number of the worst block, counted from 0.
    [[nodiscard]] std::uint64_t worstBlock() const noexcept { return m_worstBlock; }

private:
    static double seconds(Clock::duration duration) noexcept {
        return std::chrono::duration<double>(duration).count();
    }

    void add(Clock::duration duration) noexcept {
        if (duration > m_worst) {
            m_worst = duration;
            m_worstBlock = m_count;
        }
        m_total += duration;
        ++m_count;
    }

    Clock::duration m_total{};
    Clock::duration m_worst{};
    std::uint64_t m_count = 0;
    std::uint64_t m_worstBlock = 0;
};

} // namespace tovix::render
