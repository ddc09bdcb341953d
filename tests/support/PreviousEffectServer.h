#pragma once

#include "support/ChildProcess.h"
#include "support/PreviousEffectClasses.h"
#include "system/RegistryUtils.h"

#include <gtest/gtest.h>

#include <objbase.h>

namespace tovix::test {

/// The library of other effects, registered as in-process servers for the object's life.
class PreviousEffectServer {
public:
    PreviousEffectServer() {
        const std::wstring path = (programFolder() / "tovix-previous-effect.dll").wstring();
        for (std::uint32_t kind = 0; kind < kinds; ++kind) {
            createRegistryKey(serverKey(kind));
            writeRegistryValue(serverKey(kind), L"", path);
            writeRegistryValue(serverKey(kind), L"ThreadingModel", L"Both");
        }
        ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    }
    ~PreviousEffectServer() {
        EXPECT_EQ(objectsAlive(), 0) << "an effect that was made was given back";
        for (std::uint32_t kind = 0; kind < kinds; ++kind) {
            deleteRegistryKey(serverKey(kind));
            deleteRegistryKey(classKey(kind));
        }
        ::CoUninitialize();
    }
    PreviousEffectServer(const PreviousEffectServer&) = delete;
    PreviousEffectServer& operator=(const PreviousEffectServer&) = delete;

    /// Of the library, where it is loaded.
    static long objectsAlive() {
        HMODULE hModule = ::GetModuleHandleW(L"tovix-previous-effect.dll");
        return hModule != nullptr ? moduleExport<long()>(hModule, "ObjectsAlive")() : 0;
    }
    static std::wstring classText(PreviousEffectKind kind) { return classIdText(previousEffectClass(kind)); }
    static std::string narrowClassText(PreviousEffectKind kind) {
        const std::wstring text = classText(kind);
        return {text.begin(), text.end()};
    }

private:
    static constexpr auto kinds = static_cast<std::uint32_t>(PreviousEffectKind::count);
    static std::wstring classKey(std::uint32_t kind) {
        return L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\CLSID\\" + classText(static_cast<PreviousEffectKind>(kind));
    }
    static std::wstring serverKey(std::uint32_t kind) { return classKey(kind) + L"\\InprocServer32"; }
};

} // namespace tovix::test
