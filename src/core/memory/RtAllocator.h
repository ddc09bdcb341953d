#pragma once

#include <cstddef>
#include <cstdint>

namespace tovix {

/// Result code of the real-time allocator: negative means failure, as in the platform's HRESULT.
using RtResult = std::int32_t;

/// Where MemoryMgr takes locked memory from. The Windows shell installs the audio engine's allocator here,
/// tests install one that refuses, misaligns or fails to free.
struct RtAllocator {
    /// Stores the address of at least `sizeBytes` bytes, of any alignment, and answers 0 or more; or fails.
    RtResult (*allocate)(std::size_t sizeBytes, void** ppBlock) noexcept;
    /// Gives back what `allocate` stored.
    RtResult (*release)(void* pBlock) noexcept;
};

/// [control] The allocator in force. Until one is installed it is one that refuses every request.
RtAllocator rtAllocator() noexcept;

/// [control] Installs `allocator` for the whole process. Call it while no block of the previous one is held,
/// and not while another thread allocates.
void installRtAllocator(const RtAllocator& allocator) noexcept;

} // namespace tovix
