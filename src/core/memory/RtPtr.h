#pragma once

#include "memory/MemoryMgr.h"

#include <memory>
#include <new>
#include <utility>

namespace tovix {

/// Closing rule of an object that lives in MemoryMgr memory: run the destructor, give the memory back.
/// [control]
struct RtDestroy {
    template <class T> void operator()(T* pObject) const noexcept {
        pObject->~T();
        MemoryMgr::free(pObject);
    }
};

/// Owner of one object in MemoryMgr memory; destroyed on a [control] thread. A pointer to a base class may own it
/// only where the base stands at the object's start (single inheritance): the memory is freed by that address.
template <class T> using RtPtr = std::unique_ptr<T, RtDestroy>;

/// [control] Constructs a T in MemoryMgr memory; null when there is no memory.
template <class T, class... Args> RtPtr<T> makeRt(Args&&... args) {
    static_assert(alignof(T) <= MemoryMgr::alignmentBytes);
    struct FreeRaw {
        void operator()(void* pRaw) const noexcept { MemoryMgr::free(pRaw); }
    };
    std::unique_ptr<void, FreeRaw> pRaw{MemoryMgr::alloc(sizeof(T))};
    if (!pRaw) {
        return nullptr;
    }
    T* const pObject = ::new (pRaw.get()) T(std::forward<Args>(args)...);
    static_cast<void>(pRaw.release());
    return RtPtr<T>{pObject};
}

} // namespace tovix
