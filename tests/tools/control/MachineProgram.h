#pragma once

#include "install/Installation.h"
#include "tools/control/ControlSupport.h"
#include "tools/install/ScratchMachine.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace tovix::test {

/// What this process may do, but for the privileges of an administrator that changes of the machine take.
inline KernelHandle ordinaryToken() {
    HANDLE hOwn = nullptr;
    HANDLE hToken = nullptr;
    ::OpenProcessToken(::GetCurrentProcess(), TOKEN_DUPLICATE | TOKEN_QUERY, &hOwn);
    const KernelHandle own(hOwn);
    ::DuplicateTokenEx(hOwn, TOKEN_ALL_ACCESS, nullptr, SecurityImpersonation, TokenPrimary, &hToken);
    for (const wchar_t* const name : {SE_BACKUP_NAME, SE_RESTORE_NAME}) {
        TOKEN_PRIVILEGES privileges{.PrivilegeCount = 1, .Privileges = {{{}, SE_PRIVILEGE_REMOVED}}};
        ::LookupPrivilegeValueW(nullptr, name, &privileges.Privileges[0].Luid);
        ::AdjustTokenPrivileges(hToken, FALSE, &privileges, 0, nullptr, nullptr);
    }
    return KernelHandle(hToken);
}

/// tovixctl on this machine's own registry and in one folder. All that it changes there is gone afterwards.
class MachineProgram : public testing::Test {
protected:
    MachineProgram() {
        // Elsewhere these keys are the machine's own.
        if (::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version") == nullptr) {
            throw std::runtime_error("Only under Wine.");
        }
        clear();
    }
    ~MachineProgram() override { clear(); }

    void add(const ScratchDevice& device) {
        m_keys.push_back(install::deviceKey(device.id));
        device.putInto(registry);
    }

    [[nodiscard]] std::pair<RegistryState, FolderState> state() const {
        RegistryState keys;
        for (const auto& key : m_keys) {
            if (registry.hasKey(key)) {
                collect(registry, key, keys);
            }
        }
        return {keys, everythingIn(root())};
    }

    /// Runs tovixctl; its standard output.
    static std::string run(const std::wstring& arguments, DWORD expectedStatus = 0, HANDLE hToken = nullptr,
                           const std::filesystem::path& folder = programFolder()) {
        const Outcome outcome = control(arguments, hToken, folder);
        EXPECT_EQ(outcome.exitStatus, expectedStatus) << std::filesystem::path(arguments) << "\n" << outcome.output;
        return outcome.output;
    }
    void expectRefusal(const std::wstring& arguments, DWORD status, HANDLE hToken = nullptr,
                       const std::filesystem::path& folder = programFolder()) const {
        const auto before = state();
        run(arguments, status, hToken, folder);
        EXPECT_EQ(state(), before) << std::filesystem::path(arguments);
    }

    /// Nobody's profile, as the program demands of it.
    static std::filesystem::path root() { return programFolder() / L"real-machine"; }
    static std::wstring classKey() { return std::wstring(L"SOFTWARE\\Classes\\CLSID\\") + tovixClass; }

    install::RegistryTree registry = install::RegistryTree::machine();

private:
    void clear() {
        for (const auto& key : m_keys) {
            ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, key.c_str());
        }
        std::error_code none;
        std::filesystem::remove_all(root(), none);
    }

    std::vector<std::wstring> m_keys{classKey(), L"SOFTWARE\\Classes\\AudioEngine", install::protectionKey,
                                     L"SOFTWARE\\Quelmark"};
};

} // namespace tovix::test
