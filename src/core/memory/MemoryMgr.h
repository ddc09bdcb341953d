#pragma once

#include <cstddef>
#include <cstdint>

namespace tovix {

/// Result code of the real-time allocator: negative means failure, as in the platform's HRESULT.
using RtResult = std::int32_t;

/// Where MemoryMgr takes locked memory from. The Windows shell installs the audio engine's allocator here, tests
/// install one that refuses, misaligns or fails to free. Both functions are [control].
struct RtAllocator {
    /// Stores the address of at least `sizeBytes` bytes, of any alignment, and returns 0 or more; or fails.
    RtResult (*allocate)(std::size_t sizeBytes, void** ppMemory) noexcept;
    /// Gives back what `allocate` stored.
    RtResult (*release)(void* pMemory) noexcept;
};

/// [control] The allocator in force. Until one is installed it is one that refuses every request.
RtAllocator rtAllocator() noexcept;

/// [control] Installs `allocator` for the whole process. Call it while no memory of the previous one is held, and not
/// while another thread allocates.
void installRtAllocator(const RtAllocator& allocator) noexcept;

/// Memory for everything that the real-time path touches: taken from the audio engine's allocator, which locks it,
/// and from the ordinary heap when that refuses. Stateless; any thread but the real-time one.
///
/// The byte before the memory holds the distance to the start of the underlying allocation: 1 to 16 for one of the
/// real-time allocator, 17 to 32 for one of the heap. The release path needs nothing else.
class MemoryMgr {
public:
    static constexpr std::size_t alignmentBytes = 16;

    /// [control] `sizeBytes` bytes (0 is allowed), aligned to `alignmentBytes`, uninitialised; null and a
    /// line in the log when there is no memory.
    static void* alloc(std::size_t sizeBytes) noexcept;

    /// [control] Gives memory back. `pMemory` came from `alloc` and is not null.
    static void free(void* pMemory) noexcept;
};

/// The ordinary heap with MemoryMgr's interface, for what the audio thread never touches. All [control].
struct HeapMemory {
    static void* alloc(std::size_t sizeBytes) noexcept;
    static void free(void* pMemory) noexcept;
};

/// [control] Allocations that MemoryMgr and HeapMemory have refused to the process. If two readings are
/// equal, no allocation between them failed, although a filter or factory that got no memory reports nothing.
/// Another thread's refusal counts too: when memory is that short, treating it as one's own is harmless.
std::uint32_t refusedAllocations() noexcept;

} // namespace tovix
