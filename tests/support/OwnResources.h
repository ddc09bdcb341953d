#pragma once

#include <cstddef>
#include <ostream>

namespace tovix::test {

/// What this process holds at one moment.
struct OwnResources {
    /// In the system's handle table.
    std::size_t handles;
    std::size_t threads;
    /// In use on the heaps, those of the C and C++ allocators and the local heap included.
    std::size_t heapBytes;

    static OwnResources now();

    bool operator==(const OwnResources&) const = default;
};

/// What the process holds once it is `expected`, or when that has been waited for in vain: the system takes a moment
/// to give back what an ended thread had.
OwnResources settledAt(const OwnResources& expected);

inline std::ostream& operator<<(std::ostream& out, const OwnResources& held) {
    return out << held.handles << " handles, " << held.threads << " threads, " << held.heapBytes << " bytes";
}

/// Memory of this process that is its own, whether in use or not.
std::size_t ownPrivateBytes();

/// Threads of this process.
std::size_t ownThreads();

/// As `settledAt`, for the threads alone.
std::size_t threadsSettledAt(std::size_t expected);

} // namespace tovix::test
