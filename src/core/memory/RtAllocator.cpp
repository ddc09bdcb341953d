#include "memory/RtAllocator.h"

namespace tovix {
namespace {

constexpr RtResult refused = -1;

RtAllocator& installed() noexcept {
    static RtAllocator allocator{
        [](std::size_t, void**) noexcept -> RtResult { return refused; },
        [](void*) noexcept -> RtResult { return refused; },
    };
    return allocator;
}

} // namespace

RtAllocator rtAllocator() noexcept {
    return installed();
}

void installRtAllocator(const RtAllocator& allocator) noexcept {
    installed() = allocator;
}

} // namespace tovix
