#pragma once

#include "install/Installation.h"
#include "install/MachineFiles.h"
#include "install/OutputDevices.h"
#include "support/ChildProcess.h"
#include "tools/install/ScratchMachine.h"

#include <gtest/gtest.h>

#include <map>
#include <stdexcept>
#include <string>

namespace tovix::test {

/// What the control program changes of this machine, and one folder for its files. Everything of it is gone with the
/// object.
class RealMachine {
public:
    /// A device of the tests' own, below the key of all output devices.
    static constexpr const wchar_t* device = L"{0E000000-0000-4000-8000-000000000001}";

    struct State {
        ScratchMachine::Registry registry;
        /// The contents' sums, by path; of a folder nothing.
        std::map<std::wstring, std::string> files;

        friend bool operator==(const State&, const State&) = default;
    };

    RealMachine() {
        // Elsewhere these keys are the machine's own.
        if (::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version") == nullptr) {
            throw std::runtime_error("Only under Wine.");
        }
        clear();
    }
    ~RealMachine() { clear(); }
    RealMachine(const RealMachine&) = delete;
    RealMachine& operator=(const RealMachine&) = delete;

    /// Nobody's profile, as the program demands of it.
    [[nodiscard]] static std::filesystem::path folder() { return programFolder() / L"real-machine"; }

    [[nodiscard]] State state() const {
        State state;
        for (const auto& key : keys()) {
            if (registry.hasKey(key)) {
                collect(registry, key, state.registry);
            }
        }
        std::error_code none;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder(), none)) {
            state.files[entry.path().wstring()] = entry.is_directory() ? "" : install::contentOf(entry.path());
        }
        return state;
    }

    static void clear() {
        for (const auto& key : keys()) {
            ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, key.c_str());
        }
        std::error_code none;
        std::filesystem::remove_all(folder(), none);
    }

    /// With one value among its effect properties.
    void addDevice(const std::wstring& name, const install::RegistryData& data) {
        const auto key = install::deviceKey(device);
        registry.createKey(key + L"\\Properties");
        registry.write(key, L"DeviceState", install::numberData(1));
        registry.write(key + L"\\Properties", L"{a45c254e-df1c-4efd-8020-67d146a850e0},2",
                       install::textData(L"Speakers"));
        registry.createKey(install::effectPropertiesKey(device));
        registry.write(install::effectPropertiesKey(device), name, data);
    }

    install::RegistryTree registry = install::RegistryTree::machine();

private:
    static std::vector<std::wstring> keys() {
        const std::wstring classes = L"SOFTWARE\\Classes\\";
        return {classes + L"CLSID\\{8B1D5C3E-6A47-4F0B-9E52-C7A3D8F41B60}", classes + L"AudioEngine",
                install::deviceKey(device), install::protectionKey, L"SOFTWARE\\Quelmark"};
    }
};

/// Runs a program of this folder; its status, and what it has written to its standard output.
struct ProgramRun {
    explicit ProgramRun(const std::wstring& arguments, const std::filesystem::path& name = L"tovixctl.exe",
                        HANDLE hToken = nullptr)
        : program({.program = programFolder() / name, .arguments = arguments, .hToken = hToken}),
          output(program.rest()), status(program.finish()) {}

    ChildProcess program;
    std::string output;
    DWORD status;
};

} // namespace tovix::test
