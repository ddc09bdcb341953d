#pragma once

#include "memory/MemoryMgr.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <type_traits>
#include <utility>

namespace tovix {

/// A fixed-length array of plain values from `Memory`, zeroed when it is made. It is aligned to a cache line, which
/// is more than FFTW's vector code asks for and keeps its loads from crossing lines.
template <class T, class Memory> class AlignedArray {
    static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_destructible_v<T>);

public:
    static constexpr std::size_t alignmentBytes = 64;

    AlignedArray() noexcept = default;

    /// [control] `count` zeroed elements; empty (`!*this`) when there is no memory. A count of 0 succeeds.
    static AlignedArray make(std::size_t count) noexcept {
        AlignedArray array;
        if (count > std::numeric_limits<std::size_t>::max() / 2 / sizeof(T)) {
            return array;
        }
        array.m_pRaw.reset(Memory::alloc(count * sizeof(T) + alignmentBytes));
        if (array.m_pRaw) {
            const auto address = reinterpret_cast<std::uintptr_t>(array.m_pRaw.get());
            const std::size_t skip = (alignmentBytes - address % alignmentBytes) % alignmentBytes;
            array.m_pElements = reinterpret_cast<T*>(static_cast<char*>(array.m_pRaw.get()) + skip);
            array.m_count = count;
            std::memset(static_cast<void*>(array.m_pElements), 0, count * sizeof(T));
        }
        return array;
    }

    /// [control] Moving leaves the other array empty.
    AlignedArray(AlignedArray&& other) noexcept
        : m_pRaw(std::move(other.m_pRaw)), m_pElements(std::exchange(other.m_pElements, nullptr)),
          m_count(std::exchange(other.m_count, 0)) {}
    AlignedArray& operator=(AlignedArray&& other) noexcept {
        m_pRaw = std::move(other.m_pRaw);
        m_pElements = std::exchange(other.m_pElements, nullptr);
        m_count = std::exchange(other.m_count, 0);
        return *this;
    }

    // [audio] Forced inline, because a template cannot be put into the real-time section.
    [[gnu::always_inline]] explicit operator bool() const noexcept { return m_pElements != nullptr; }
    [[nodiscard, gnu::always_inline]] std::size_t size() const noexcept { return m_count; }
    [[nodiscard, gnu::always_inline]] T* data() const noexcept { return m_pElements; }
    [[gnu::always_inline]] T& operator[](std::size_t index) const noexcept { return m_pElements[index]; }

private:
    struct Free {
        void operator()(void* pRaw) const noexcept { Memory::free(pRaw); }
    };
    std::unique_ptr<void, Free> m_pRaw;
    T* m_pElements = nullptr;
    std::size_t m_count = 0;
};

/// For what the audio thread touches.
template <class T> using RtArray = AlignedArray<T, MemoryMgr>;
/// For the work arrays of a design.
template <class T> using HeapArray = AlignedArray<T, HeapMemory>;

} // namespace tovix
