#pragma once

#include "system/ModuleState.h"

#include <unknwn.h>

#include <atomic>

namespace tovix {

/// Makes effects. Keeps the module in use while it lives, as its holder will call it. All [control], any thread.
class ClassFactory final : private ModuleUse, public IClassFactory {
public:
    /// Starts with one reference, which the maker owns.
    ClassFactory() noexcept = default;
    ClassFactory(const ClassFactory&) = delete;
    ClassFactory& operator=(const ClassFactory&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) noexcept override;
    ULONG STDMETHODCALLTYPE AddRef() noexcept override;
    ULONG STDMETHODCALLTYPE Release() noexcept override;

    /// `E_NOINTERFACE` for an outer unknown with any interface but IUnknown, `E_OUTOFMEMORY`, or what the new
    /// effect returns for the interface.
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* pOuter, REFIID riid, void** ppv) noexcept override;
    HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) noexcept override;

private:
    ~ClassFactory() = default;

    std::atomic<ULONG> m_references{1};
};

} // namespace tovix
