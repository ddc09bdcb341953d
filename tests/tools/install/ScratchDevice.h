#pragma once

#include "install/OutputDevices.h"
#include "tools/install/ScratchMachine.h"

#include <string>

namespace tovix::test {

/// Texts of the effect properties by the number at the end of their names.
inline std::wstring effectKey(int number) {
    return L"{d04e05a6-594b-4fb6-a80d-01af5eed7d1d}," + std::to_wstring(number);
}
inline std::wstring modesKey(int number) {
    return L"{d3993a3f-99c2-4402-b5ec-a92a0367664b}," + std::to_wstring(number);
}

inline constexpr const wchar_t* tovixClass = L"{8B1D5C3E-6A47-4F0B-9E52-C7A3D8F41B60}";
inline constexpr const wchar_t* vendorClass = L"{2A0F1C55-0B1E-4E0B-9C0B-1F0E3B5C7D11}";
inline constexpr const wchar_t* otherClass = L"{77B3E9D2-4C1A-4D8F-8E21-9A5B6C7D8E22}";
inline constexpr const wchar_t* defaultMode = L"{C18E2F7E-933D-4965-B7D1-1EEF228D2AF3}";
inline constexpr const wchar_t* otherMode = L"{4780004E-7133-41D8-8C74-660DADD2C0EE}";

/// An output device of a scratch machine's registry.
struct ScratchDevice {
    std::wstring id = L"{0D000000-0000-4000-8000-000000000001}";
    std::wstring name = L"Speakers";
    std::wstring interfaceName = L"High Definition Audio";
    DWORD state = 1;

    void putInto(install::RegistryTree& registry) const {
        const auto properties = install::deviceKey(id) + L"\\Properties";
        registry.createKey(properties);
        registry.write(install::deviceKey(id), L"DeviceState", install::numberData(state));
        registry.write(properties, L"{a45c254e-df1c-4efd-8020-67d146a850e0},2", install::textData(name));
        registry.write(properties, L"{b3f8fa53-0004-438e-9003-51a46e139bfc},6", install::textData(interfaceName));
    }
};

} // namespace tovix::test
