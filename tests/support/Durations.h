#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

namespace tovix::test {

/// The milliseconds that something takes, time after time.
class Durations {
public:
    using Clock = std::chrono::steady_clock;

    template <class Body> void time(const Body& body) {
        const auto start = Clock::now();
        body();
        addSince(start);
    }
    void addSince(Clock::time_point start, Clock::time_point end = Clock::now()) {
        m_ms.push_back(std::chrono::duration<double, std::milli>(end - start).count());
    }
    void add(const Durations& others) { m_ms.insert(m_ms.end(), others.m_ms.begin(), others.m_ms.end()); }

    [[nodiscard]] double last() const { return m_ms.back(); }
    /// The time that `share` of all do not exceed.
    [[nodiscard]] double quantile(double share) const {
        auto sorted = m_ms;
        std::sort(sorted.begin(), sorted.end());
        return sorted.at(static_cast<std::size_t>(share * static_cast<double>(sorted.size() - 1)));
    }
    void print(const std::string& what) const {
        std::printf("%s: %zu, median %.4f ms, 99 %% below %.4f ms, longest %.4f ms\n", what.c_str(), m_ms.size(),
                    quantile(0.5), quantile(0.99), quantile(1.0));
    }

private:
    std::vector<double> m_ms;
};

} // namespace tovix::test
