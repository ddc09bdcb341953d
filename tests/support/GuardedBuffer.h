#pragma once

#ifdef _WIN32
#include <windows.h>
#else
#include <sys/mman.h>
#endif

#include <cstddef>

namespace tovix::test {

/// Where a block stands in its memory: nothing before it may be read or written, or nothing behind it.
enum class Flush { withPageBefore, withPageBehind };

/// Memory between two pages that nothing may touch: what reads or writes there ends the process.
class GuardedBuffer {
public:
    explicit GuardedBuffer(std::size_t floats)
        : m_bytes((floats * sizeof(float) + pageBytes - 1) / pageBytes * pageBytes), m_pPages(reserve(allBytes())) {
        open(m_pPages + pageBytes, m_bytes);
    }
    ~GuardedBuffer() { release(m_pPages, allBytes()); }
    GuardedBuffer(const GuardedBuffer&) = delete;
    GuardedBuffer& operator=(const GuardedBuffer&) = delete;

    [[nodiscard]] float* place(std::size_t floats, Flush flush) const {
        const std::size_t skipped = flush == Flush::withPageBefore ? 0 : m_bytes - floats * sizeof(float);
        return reinterpret_cast<float*>(m_pPages + pageBytes + skipped);
    }

private:
    static constexpr std::size_t pageBytes = 4096;

#ifdef _WIN32
    static char* reserve(std::size_t bytes) {
        return static_cast<char*>(::VirtualAlloc(nullptr, bytes, MEM_RESERVE, PAGE_NOACCESS));
    }
    static void open(void* pPages, std::size_t bytes) {
        ::VirtualAlloc(pPages, bytes, MEM_COMMIT, PAGE_READWRITE);
    }
    static void release(void* pPages, std::size_t) {
        ::VirtualFree(pPages, 0, MEM_RELEASE);
    }
#else
    static char* reserve(std::size_t bytes) {
        return static_cast<char*>(::mmap(nullptr, bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    }
    static void open(void* pPages, std::size_t bytes) {
        ::mprotect(pPages, bytes, PROT_READ | PROT_WRITE);
    }
    static void release(void* pPages, std::size_t bytes) {
        ::munmap(pPages, bytes);
    }
#endif
    [[nodiscard]] std::size_t allBytes() const {
        return m_bytes + 2 * pageBytes;
    }

    std::size_t m_bytes;
    char* m_pPages;
};

} // namespace tovix::test
