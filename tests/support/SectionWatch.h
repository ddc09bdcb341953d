#pragma once

#include "system/WinHandles.h"

#include <filesystem>
#include <set>
#include <string>

namespace tovix::test {

/// While it watches, the ordinary code of a module cannot be executed without being noticed: each function in it that
/// is entered from the module's real-time section or from outside is recorded by name, and then runs.
///
/// One thread at a time may be inside the module meanwhile. `file` has the module's symbols: it or its debug file.
class SectionWatch {
public:
    SectionWatch(HMODULE hModule, std::filesystem::path file);
    ~SectionWatch();
    SectionWatch(const SectionWatch&) = delete;
    SectionWatch& operator=(const SectionWatch&) = delete;

    void watch() { m_ordinary.allow(false); }
    void rest();

    /// The linker's names of the functions that were entered; an address that no symbol starts at as a number.
    [[nodiscard]] std::set<std::string> entered() const;

private:
    struct Section {
        BYTE* pStart = nullptr;
        std::size_t bytes = 0;
        int number = 0;

        [[nodiscard]] bool holds(const void* pAddress) const {
            return pAddress >= pStart && pAddress < pStart + bytes;
        }
        void allow(bool execute) const;
    };

    static LONG CALLBACK onException(EXCEPTION_POINTERS* pException);
    [[nodiscard]] Section find(HMODULE hModule, const char* name) const;

    static SectionWatch* pInstance;

    std::filesystem::path m_file;
    Section m_ordinary;
    Section m_realtime;
    std::set<const void*> m_entered;
    void* m_pHandler;
};

} // namespace tovix::test
