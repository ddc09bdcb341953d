#pragma once

#include <cstdlib>
#include <ctime>

namespace tovix {

/// Runs one unit of a fuzz target, which is a finding when it takes more processor time than the limit: what a text
/// can cost is part of what it may not do. The sanitizers make everything several times as slow. One that is slow
/// gets two more tries, as a virtual machine with much else to do charges whoever is running.
template <class Unit> void requireQuick(double limitSeconds, const Unit& unit) {
    constexpr int tries = 3;
    for (int count = 0; count < tries; ++count) {
        const std::clock_t begin = std::clock();
        unit();
        if (static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC <= limitSeconds) {
            return;
        }
    }
    std::abort();
}

} // namespace tovix
