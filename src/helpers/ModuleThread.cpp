#include "helpers/ModuleThread.h"

#include <new>

namespace tovix {
namespace {

struct ThreadStart {
    ThreadBody body;
    void* pContext;
    ModuleReference module;
};

DWORD WINAPI runThenLeaveModule(void* pParameter) noexcept {
    std::unique_ptr<ThreadStart> pStart(static_cast<ThreadStart*>(pParameter));
    const ThreadBody body = pStart->body;
    void* const pContext = pStart->pContext;
    // The reference is given up by the call below alone: code of a freed module cannot return from here.
    const HMODULE hModule = pStart->module.release();
    pStart.reset();
    ::FreeLibraryAndExitThread(hModule, body(pContext));
}

ModuleReference referenceToOwnModule() noexcept {
    HMODULE hModule = nullptr;
    const auto* const pAddress = reinterpret_cast<LPCWSTR>(&runThenLeaveModule);
    if (::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, pAddress, &hModule) == FALSE) {
        return nullptr;
    }
    return ModuleReference(hModule);
}

} // namespace

KernelHandle startModuleThread(ThreadBody body, void* pContext) noexcept {
    std::unique_ptr<ThreadStart> pStart(new (std::nothrow) ThreadStart{body, pContext, referenceToOwnModule()});
    if (!pStart) {
        ::SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    if (!pStart->module) {
        return nullptr;
    }
    KernelHandle thread(::CreateThread(nullptr, 0, &runThenLeaveModule, pStart.get(), 0, nullptr));
    if (thread) {
        static_cast<void>(pStart.release());
        return thread;
    }
    const DWORD error = ::GetLastError();
    pStart.reset();
    ::SetLastError(error);
    return nullptr;
}

} // namespace tovix
