#include "apo/RegistrationRecord.h"
#include "convolution/PlannerLock.h"
#include "module/ClassFactory.h"
#include "module/Registration.h"
#include "system/ModuleState.h"

#include <new>

using tovix::moduleState;

namespace {

SRWLOCK plannerLock = SRWLOCK_INIT;

} // namespace

// What the module exports. All [control], any thread; nothing is thrown.

/// Stores a handle and two functions and calls nothing of the system: the loader's lock is held here.
extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID /*reserved*/) {
    if (reason == DLL_PROCESS_ATTACH) {
        moduleState.instance = instance;
        tovix::installPlannerLock({
            []() noexcept { ::AcquireSRWLockExclusive(&plannerLock); },
            []() noexcept { ::ReleaseSRWLockExclusive(&plannerLock); },
        });
    }
    return TRUE;
}

extern "C" HRESULT WINAPI DllCanUnloadNow() {
    return moduleState.uses != 0 || moduleState.serverLocks != 0 ? S_FALSE : S_OK;
}

extern "C" HRESULT WINAPI DllGetClassObject(REFCLSID classId, REFIID riid, LPVOID* ppv) {
    if (ppv == nullptr) {
        return E_POINTER;
    }
    *ppv = nullptr;
    if (!IsEqualCLSID(classId, tovix::effectClassId)) {
        return CLASS_E_CLASSNOTAVAILABLE;
    }
    auto* const pFactory = new (std::nothrow) tovix::ClassFactory;
    if (pFactory == nullptr) {
        return E_OUTOFMEMORY;
    }
    const HRESULT hr = pFactory->QueryInterface(riid, ppv);
    pFactory->Release();
    return hr;
}

extern "C" HRESULT WINAPI DllRegisterServer() {
    return tovix::registerServer(moduleState.instance);
}

extern "C" HRESULT WINAPI DllUnregisterServer() {
    return tovix::unregisterServer();
}
