#pragma once

#include <cstdlib>
#include <ctime>

namespace tovix {

/// One run of a fuzz target, which is a finding when it takes more processor time than its limit: what a text can
/// cost is part of what it may not do. The sanitizers make everything several times as slow.
class QuickUnit {
public:
    explicit QuickUnit(double limitSeconds) noexcept : m_limitSeconds(limitSeconds), m_begin(std::clock()) {}
    ~QuickUnit() {
        if (static_cast<double>(std::clock() - m_begin) / CLOCKS_PER_SEC > m_limitSeconds) {
            std::abort();
        }
    }
    QuickUnit(const QuickUnit&) = delete;
    QuickUnit& operator=(const QuickUnit&) = delete;

private:
    double m_limitSeconds;
    std::clock_t m_begin;
};

} // namespace tovix
