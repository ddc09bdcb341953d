#pragma once

#include <cstddef>

namespace tovix {

/// Memory for everything that the real-time path touches: taken from the audio engine's allocator, which locks
/// it, and from the ordinary heap when that refuses. Stateless; any thread but the real-time one.
///
/// The byte before each block holds the distance to the start of the underlying allocation: 1 to 16 for a
/// block of the real-time allocator, 17 to 32 for one of the heap. The release path needs nothing else.
class MemoryMgr {
public:
    static constexpr std::size_t alignmentBytes = 16;

    /// [control] A block of `sizeBytes` (0 is allowed), aligned to `alignmentBytes`, uninitialised; null and a
    /// line in the log when there is no memory.
    static void* alloc(std::size_t sizeBytes) noexcept;

    /// [control] Gives a block back. `pBlock` came from `alloc` and is not null.
    static void free(void* pBlock) noexcept;
};

} // namespace tovix
