#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

/// Drivers that make calls in an order drawn at random. Which call a number stands for is the driver's.
namespace tovix::test {

struct Call {
    std::uint32_t kind;
    std::uint32_t object;
    std::uint32_t variant;
};
using Calls = std::vector<Call>;

struct SeedRange {
    std::uint32_t first;
    std::uint32_t count;
};

/// TOVIX_SEQUENCES seeds from TOVIX_SEED on.
inline SeedRange seedsToRun(std::uint32_t usualCount) {
    const auto number = [](const char* name, std::uint32_t otherwise) {
        const char* const pText = std::getenv(name);
        return pText != nullptr ? static_cast<std::uint32_t>(std::strtoul(pText, nullptr, 10)) : otherwise;
    };
    return {number("TOVIX_SEED", 1), number("TOVIX_SEQUENCES", usualCount)};
}

/// Up to 60 calls. One seed gives the same calls with every library.
inline Calls drawCalls(std::uint32_t seed) {
    std::mt19937 random(seed);
    Calls calls(1 + random() % 60);
    const auto draw = [&random] { return static_cast<std::uint32_t>(random()); };
    for (Call& call : calls) {
        call.kind = draw();
        call.object = draw();
        call.variant = draw();
    }
    return calls;
}

/// Drops calls, many at once first, as long as what is left `fails`.
template <class Fails> Calls shrink(Calls calls, const Fails& fails) {
    for (std::size_t count = calls.size(); count > 0; count /= 2) {
        for (std::size_t at = 0; at < calls.size();) {
            Calls fewer(calls.begin(), calls.begin() + static_cast<std::ptrdiff_t>(at));
            fewer.insert(fewer.end(), calls.begin() + static_cast<std::ptrdiff_t>(std::min(at + count, calls.size())),
                         calls.end());
            if (fails(fewer)) {
                calls = fewer;
            } else {
                at += count;
            }
        }
    }
    return calls;
}

/// Runs the sequence of each seed. `run(seed, calls)` says what is wrong with one, or nothing. The first such is
/// shrunk and described as a list of its calls with what `name(call)` gives.
template <class Run, class Name>
std::string findFailingSequence(const SeedRange& seeds, const Run& run, const Name& name) {
    for (std::uint32_t seed = seeds.first; seed != seeds.first + seeds.count; ++seed) {
        const Calls calls = drawCalls(seed);
        std::string wrong = run(seed, calls);
        if (wrong.empty()) {
            continue;
        }
        const Calls shrunk = shrink(calls, [&](const Calls& fewer) {
            const std::string still = run(seed, fewer);
            wrong = still.empty() ? wrong : still;
            return !still.empty();
        });
        wrong += " (TOVIX_SEED=" + std::to_string(seed) + "), after";
        for (const Call& call : shrunk) {
            wrong += "\n  " + std::string(name(call)) + " of object " + std::to_string(call.object) + ", variant " +
                     std::to_string(call.variant);
        }
        return wrong;
    }
    return "";
}

} // namespace tovix::test
