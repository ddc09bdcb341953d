#include "memory/MemoryMgr.h"

#include "log/Log.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <limits>

namespace tovix {
namespace {

constexpr RtResult refused = -1;

constinit RtAllocator installed{
    [](std::size_t, void**) noexcept -> RtResult { return refused; },
    [](void*) noexcept -> RtResult { return refused; },
};

/// The file's tag in the log.
constexpr const char* source = "helpers\\MemoryMgr";

constinit std::atomic<std::uint32_t> refusals{0};

constexpr std::size_t rtOverheadBytes = MemoryMgr::alignmentBytes;
constexpr std::size_t heapOverheadBytes = 2 * MemoryMgr::alignmentBytes;

/// Bytes from `pRaw` to the next aligned address that is at least one byte further on.
std::size_t distanceToAligned(const void* pRaw) noexcept {
    return MemoryMgr::alignmentBytes - reinterpret_cast<std::uintptr_t>(pRaw) % MemoryMgr::alignmentBytes;
}

void* withBookkeeping(void* pRaw, std::size_t distance) noexcept {
    auto* const pMemory = static_cast<signed char*>(pRaw) + distance;
    pMemory[-1] = static_cast<signed char>(distance);
    return pMemory;
}

} // namespace

RtAllocator rtAllocator() noexcept {
    return installed;
}

void installRtAllocator(const RtAllocator& allocator) noexcept {
    installed = allocator;
}

void* MemoryMgr::alloc(std::size_t sizeBytes) noexcept {
    if (sizeBytes <= std::numeric_limits<std::size_t>::max() - heapOverheadBytes) {
        void* pRaw = nullptr;
        if (installed.allocate(sizeBytes + rtOverheadBytes, &pRaw) >= 0 && pRaw != nullptr) {
            return withBookkeeping(pRaw, distanceToAligned(pRaw));
        }
        pRaw = std::malloc(sizeBytes + heapOverheadBytes);
        if (pRaw != nullptr) {
            return withBookkeeping(pRaw, alignmentBytes + distanceToAligned(pRaw));
        }
    }
    refusals.fetch_add(1, std::memory_order_relaxed);
    FunctionLog("MemoryMgr::alloc", source, nullptr)
        .error("Failed to allocate ", std::uint64_t{sizeBytes + heapOverheadBytes}, " bytes");
    return nullptr;
}

void MemoryMgr::free(void* pMemory) noexcept {
    const auto distance = static_cast<signed char*>(pMemory)[-1];
    void* const pRaw = static_cast<char*>(pMemory) - distance;
    if (distance > static_cast<signed char>(alignmentBytes)) {
        std::free(pRaw);
        return;
    }
    const RtResult result = installed.release(pRaw);
    if (result < 0) {
        FunctionLog("MemoryMgr::free", source, nullptr).error("Failed to free memory. Error= ", result);
    }
}

void* HeapMemory::alloc(std::size_t sizeBytes) noexcept {
    void* const pMemory = std::malloc(sizeBytes);
    if (pMemory == nullptr) {
        refusals.fetch_add(1, std::memory_order_relaxed);
    }
    return pMemory;
}

void HeapMemory::free(void* pMemory) noexcept {
    std::free(pMemory);
}

std::uint32_t refusedAllocations() noexcept {
    return refusals.load(std::memory_order_relaxed);
}

} // namespace tovix
