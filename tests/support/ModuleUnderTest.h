#pragma once

#include "apo/RegistrationRecord.h"
#include "support/ChildProcess.h"
#include "support/EngineSide.h"

#include <filesystem>

namespace tovix::test {

/// Tovix64.dll, loaded by its path as a host would without the registry.
class ModuleUnderTest {
public:
    explicit ModuleUnderTest(const std::filesystem::path& path = programFolder() / "Tovix64.dll")
        : m_module(::LoadLibraryW(path.c_str())) {}

    [[nodiscard]] HMODULE handle() const { return m_module.get(); }

    HRESULT getClassObject(REFCLSID classId, REFIID iid, void** ppv) const {
        return moduleExport<HRESULT WINAPI(REFCLSID, REFIID, void**)>(handle(), "DllGetClassObject")(classId, iid,
                                                                                                     ppv);
    }
    [[nodiscard]] HRESULT call(const char* name) const { return moduleExport<HRESULT WINAPI()>(handle(), name)(); }
    [[nodiscard]] HRESULT canUnloadNow() const { return call("DllCanUnloadNow"); }

    [[nodiscard]] ComReference<IClassFactory> factory() const {
        void* pFactory = nullptr;
        getClassObject(effectClassId, IID_IClassFactory, &pFactory);
        return ComReference<IClassFactory>(static_cast<IClassFactory*>(pFactory));
    }

    /// A fresh effect, as an unknown.
    [[nodiscard]] ComReference<IUnknown> create() const {
        void* pUnknown = nullptr;
        factory()->CreateInstance(nullptr, IID_IUnknown, &pUnknown);
        return ComReference<IUnknown>(static_cast<IUnknown*>(pUnknown));
    }

private:
    ModuleReference m_module;
};

} // namespace tovix::test
