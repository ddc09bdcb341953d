#pragma once

#include <windows.h>

#include <lm.h>
#include <objbase.h>

#include <memory>

namespace tovix {

/// One owner for each closing rule of the platform; a raw handle or pointer elsewhere is borrowed. Null is "none".
/// INVALID_HANDLE_VALUE is not: where a function returns it, its caller turns it into null, but for a thread's (see
/// EffectManager). Closing and giving back is [control].

struct CloseKernelHandle {
    using pointer = HANDLE;
    void operator()(HANDLE handle) const noexcept { ::CloseHandle(handle); }
};
/// Event, thread, process, token or file mapping.
using KernelHandle = std::unique_ptr<void, CloseKernelHandle>;

struct UnmapView {
    void operator()(void* pView) const noexcept { ::UnmapViewOfFile(pView); }
};
/// View of a file mapping.
template <class T> using MappedView = std::unique_ptr<T, UnmapView>;

struct CloseRegistryKey {
    using pointer = HKEY;
    void operator()(HKEY key) const noexcept { ::RegCloseKey(key); }
};
using RegistryKey = std::unique_ptr<HKEY__, CloseRegistryKey>;

struct FreeLocalMemory {
    void operator()(void* pBlock) const noexcept { ::LocalFree(pBlock); }
};
/// Block of the local heap.
template <class T> using LocalMemory = std::unique_ptr<T, FreeLocalMemory>;

struct FreeTaskMemory {
    void operator()(void* pBlock) const noexcept { ::CoTaskMemFree(pBlock); }
};
/// Memory that COM has handed out.
template <class T> using TaskMemory = std::unique_ptr<T, FreeTaskMemory>;

struct FreeAllocatedSid {
    void operator()(void* pSid) const noexcept { ::FreeSid(pSid); }
};
/// Security identifier of AllocateAndInitializeSid.
using AllocatedSid = std::unique_ptr<void, FreeAllocatedSid>;

struct FreeNetBuffer {
    void operator()(void* pBuffer) const noexcept { ::NetApiBufferFree(pBuffer); }
};
/// Buffer of the network management functions.
template <class T> using NetBuffer = std::unique_ptr<T, FreeNetBuffer>;

struct FreeModule {
    using pointer = HMODULE;
    void operator()(HMODULE hModule) const noexcept { ::FreeLibrary(hModule); }
};
/// One reference to a loaded module.
using ModuleReference = std::unique_ptr<HINSTANCE__, FreeModule>;

/// [control] The export `name` of `hModule` as a function of type F, or null.
template <class F> F* moduleExport(HMODULE hModule, const char* name) noexcept {
    return reinterpret_cast<F*>(reinterpret_cast<void*>(::GetProcAddress(hModule, name)));
}

/// [control] The module that holds `pCode`, borrowed; null when no module does.
inline HMODULE moduleOfAddress(const void* pCode) noexcept {
    HMODULE hModule = nullptr;
    constexpr DWORD flags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    return ::GetModuleHandleExW(flags, static_cast<LPCWSTR>(pCode), &hModule) != FALSE ? hModule : nullptr;
}

} // namespace tovix
