#pragma once

#include <cstddef>

namespace tovix::test {

/// Handles of this process in the system's handle table.
std::size_t ownHandles();

/// Bytes in use on this process's heaps, those of the C and C++ allocators and the local heap included.
std::size_t ownHeapBytes();

/// Threads of this process.
std::size_t ownThreads();

} // namespace tovix::test
