#include "support/ImportWatch.h"

#include <cstddef>

namespace tovix::test {
namespace {

void writeSlot(const void** pSlot, const void* pTarget) {
    DWORD protection = 0;
    ::VirtualProtect(pSlot, sizeof *pSlot, PAGE_READWRITE, &protection);
    *pSlot = pTarget;
    ::VirtualProtect(pSlot, sizeof *pSlot, protection, &protection);
}

} // namespace

ImportWatch::ImportWatch(HMODULE hModule) {
    auto* const pBase = reinterpret_cast<BYTE*>(hModule);
    const auto* const pDos = reinterpret_cast<const IMAGE_DOS_HEADER*>(pBase);
    const auto* const pHeaders = reinterpret_cast<const IMAGE_NT_HEADERS64*>(pBase + pDos->e_lfanew);
    const DWORD address = pHeaders->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
    for (const auto* pLibrary = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(pBase + address);
         pLibrary->Name != 0; ++pLibrary) {
        const auto* pName = reinterpret_cast<const ULONGLONG*>(pBase + pLibrary->OriginalFirstThunk);
        auto* pSlot = reinterpret_cast<const void**>(pBase + pLibrary->FirstThunk);
        for (; *pName != 0; ++pName, ++pSlot) {
            const auto* const pByName = reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(pBase + *pName);
            m_imports.push_back({reinterpret_cast<const char*>(pByName->Name), pSlot, *pSlot});
        }
    }
    m_thunks.reset(static_cast<Thunk*>(
        ::VirtualAlloc(nullptr, m_imports.size() * sizeof(Thunk), MEM_RESERVE | MEM_COMMIT, PAGE_EXECUTE_READWRITE)));
    for (std::size_t i = 0; i < m_imports.size(); ++i) {
        static_assert(offsetof(Thunk, count) == 16 && offsetof(Thunk, pTarget) == 24);
        constexpr std::array<std::uint8_t, 16> code{
            0xF0, 0xFF, 0x05, 9, 0, 0, 0, // lock inc dword [count], 9 bytes past the instruction
            0xFF, 0x25, 11,   0, 0, 0,    // jmp [target], 11 bytes past the instruction
        };
        Thunk& thunk = *new (&m_thunks.get()[i]) Thunk{code, 0, m_imports[i].pOriginal};
        writeSlot(m_imports[i].pSlot, &thunk);
    }
}

ImportWatch::~ImportWatch() {
    for (const Import& import : m_imports) {
        writeSlot(import.pSlot, import.pOriginal);
    }
}

void ImportWatch::reset() {
    for (std::size_t i = 0; i < m_imports.size(); ++i) {
        m_thunks.get()[i].count = 0;
    }
}

std::map<std::string, std::uint32_t> ImportWatch::calls() const {
    std::map<std::string, std::uint32_t> called;
    for (std::size_t i = 0; i < m_imports.size(); ++i) {
        if (const std::uint32_t count = m_thunks.get()[i].count; count != 0) {
            called[m_imports[i].name] += count;
        }
    }
    return called;
}

std::uint32_t ImportWatch::calls(const std::string& function) const {
    return calls()[function];
}

void ImportWatch::redirect(const std::string& function, const void* pTarget) {
    for (std::size_t i = 0; i < m_imports.size(); ++i) {
        if (m_imports[i].name == function) {
            m_thunks.get()[i].pTarget = pTarget != nullptr ? pTarget : m_imports[i].pOriginal;
        }
    }
}

} // namespace tovix::test
