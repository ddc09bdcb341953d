#include "system/ThreadHoldingModule.h"

namespace tovix {
namespace {

HMODULE ownModule() noexcept {
    return moduleOfAddress(reinterpret_cast<const void*>(&dropModuleAndExitThread));
}

ModuleReference referenceToOwnModule() noexcept {
    HMODULE hModule = nullptr;
    const auto* const pAddress = reinterpret_cast<LPCWSTR>(&dropModuleAndExitThread);
    if (::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, pAddress, &hModule) == FALSE) {
        return nullptr;
    }
    return ModuleReference(hModule);
}

} // namespace

KernelHandle startWithModuleReference(LPTHREAD_START_ROUTINE start, void* pContext) noexcept {
    ModuleReference module = referenceToOwnModule();
    if (!module) {
        return nullptr;
    }
    KernelHandle thread(::CreateThread(nullptr, 0, start, pContext, 0, nullptr));
    if (thread && thread.get() != INVALID_HANDLE_VALUE) {
        static_cast<void>(module.release()); // to the thread
        return thread;
    }
    const DWORD error = ::GetLastError();
    module.reset();
    ::SetLastError(error);
    return thread;
}

void dropModuleAndExitThread(DWORD exitCode) noexcept {
    // The reference is given up by this call alone: code of a freed module cannot be returned to.
    ::FreeLibraryAndExitThread(ownModule(), exitCode);
}

} // namespace tovix
