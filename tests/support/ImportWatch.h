#pragma once

#include "system/WinHandles.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace tovix::test {

/// Every call that a loaded module makes through its import table passes here and is counted, on any thread, while
/// the object lives. No thread may be inside the module when it ends.
class ImportWatch {
public:
    explicit ImportWatch(HMODULE hModule);
    ~ImportWatch();
    ImportWatch(const ImportWatch&) = delete;
    ImportWatch& operator=(const ImportWatch&) = delete;

    void reset();
    /// The functions called since the last reset, with the number of calls.
    [[nodiscard]] std::map<std::string, std::uint32_t> calls() const;
    [[nodiscard]] std::uint32_t calls(const std::string& function) const;

    /// Sends the calls of one function elsewhere; null sends them where they belong.
    void redirect(const std::string& function, const void* pTarget);
    template <class Result, class... Arguments>
    void redirect(const std::string& function, Result (*pTarget)(Arguments...)) {
        redirect(function, reinterpret_cast<const void*>(pTarget));
    }

private:
    /// Counts and jumps on to the target; machine code and its data in one executable block.
    struct Thunk {
        std::array<std::uint8_t, 16> code;
        std::atomic<std::uint32_t> count;
        const void* pTarget;
    };
    struct Import {
        std::string name;
        const void** pSlot;
        const void* pOriginal;
    };
    struct FreePages {
        void operator()(void* pPages) const noexcept { ::VirtualFree(pPages, 0, MEM_RELEASE); }
    };

    std::vector<Import> m_imports;
    std::unique_ptr<Thunk, FreePages> m_thunks;
};

} // namespace tovix::test
