#include "module/ClassFactory.h"

#include "apo/Tovix.h"
#include "log/QuelLog.h"
#include "platform/AudioEngineAllocator.h"
#include "platform/ComEdge.h"
#include "system/ModuleState.h"

#include <new>

namespace tovix {

HRESULT ClassFactory::QueryInterface(REFIID riid, void** ppv) noexcept {
    if (ppv == nullptr) {
        return E_POINTER;
    }
    *ppv = nullptr;
    if (!IsEqualIID(riid, IID_IUnknown) && !IsEqualIID(riid, IID_IClassFactory)) {
        return E_NOINTERFACE;
    }
    *ppv = static_cast<IClassFactory*>(this);
    AddRef();
    return S_OK;
}

ULONG ClassFactory::AddRef() noexcept {
    return ++m_references;
}

ULONG ClassFactory::Release() noexcept {
    const ULONG left = --m_references;
    if (left == 0) {
        const ModuleUse use;
        delete this;
    }
    return left;
}

HRESULT ClassFactory::CreateInstance(IUnknown* pOuter, REFIID riid, void** ppv) noexcept {
    if (ppv == nullptr) {
        return E_POINTER;
    }
    *ppv = nullptr;
    QuelLog::instance().attach();
    FunctionLog("ClassFactory::CreateInstance", "ClassFactory", this).info("entered");
    if (pOuter != nullptr && !IsEqualIID(riid, IID_IUnknown)) {
        return E_NOINTERFACE; // and not the code for a refused aggregation, deliberately
    }
    installAudioEngineAllocator();
    return atComEdge([&] {
        auto* const pTovix = new Tovix(pOuter);
        const HRESULT hr = pTovix->NonDelegatingQueryInterface(riid, ppv);
        pTovix->NonDelegatingRelease();
        return hr;
    });
}

HRESULT ClassFactory::LockServer(BOOL lock) noexcept {
    std::atomic<std::uint32_t>& locks = moduleState.serverLocks;
    if (lock != FALSE) {
        ++locks;
        return S_OK;
    }
    // An unlock too many must not turn into four billion locks.
    std::uint32_t held = locks;
    while (held != 0 && !locks.compare_exchange_weak(held, held - 1)) {
    }
    return S_OK;
}

} // namespace tovix
