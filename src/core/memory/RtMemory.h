#pragma once

#include "memory/MemoryMgr.h"

#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace tovix {

/// Closing rule of an object that lives in MemoryMgr memory: run the destructor, give the memory back.
struct RtDestroy {
    template <class T> void operator()(T* pObject) const noexcept {
        pObject->~T();
        MemoryMgr::free(pObject);
    }
};

/// Owner of one object in MemoryMgr memory. A pointer to a base class may own it only where the base stands at
/// the object's start (single inheritance), since the memory is freed by the pointer's own address.
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

/// A fixed-length array of plain values in MemoryMgr memory, zeroed when it is made.
template <class T> class RtArray {
    static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_destructible_v<T>);

public:
    RtArray() noexcept = default;

    /// [control] `count` zeroed elements; empty (`!*this`) when there is no memory. A count of 0 succeeds.
    static RtArray make(std::size_t count) noexcept {
        RtArray array;
        if (count <= static_cast<std::size_t>(-1) / (2 * sizeof(T))) {
            array.m_pElements.reset(static_cast<T*>(MemoryMgr::alloc(count * sizeof(T))));
        }
        if (array.m_pElements) {
            std::memset(static_cast<void*>(array.m_pElements.get()), 0, count * sizeof(T));
            array.m_count = count;
        }
        return array;
    }

    // The audio thread calls these; forced inline because a template cannot be put into the real-time section.
    [[gnu::always_inline]] explicit operator bool() const noexcept { return m_pElements.get() != nullptr; }
    [[nodiscard, gnu::always_inline]] std::size_t size() const noexcept { return m_count; }
    [[nodiscard, gnu::always_inline]] T* data() const noexcept { return m_pElements.get(); }
    [[gnu::always_inline]] T& operator[](std::size_t index) const noexcept { return m_pElements.get()[index]; }

private:
    std::unique_ptr<T, RtDestroy> m_pElements;
    std::size_t m_count = 0;
};

} // namespace tovix
