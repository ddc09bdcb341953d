#include "support/OwnResources.h"

#include "support/BecomesTrue.h"
#include "system/WinHandles.h"

#include <tlhelp32.h>
#include <winternl.h>

#include <vector>

namespace tovix::test {
namespace {

constexpr ULONG extendedHandleInformation = 64;

struct HandleRow {
    void* pObject;
    ULONG_PTR processId;
    ULONG_PTR handle;
    ULONG access;
    USHORT backTrace;
    USHORT type;
    ULONG attributes;
    ULONG reserved;
};

struct HandleTable {
    ULONG_PTR count;
    ULONG_PTR reserved;
    HandleRow rows[1];
};

// The process's own count is not used: some systems give 0 for it.
std::size_t ownHandles() {
    using Query = NTSTATUS NTAPI(ULONG, void*, ULONG, ULONG*);
    auto* const pQuery = moduleExport<Query>(::GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation");
    std::vector<char> buffer(1U << 16U);
    while (pQuery(extendedHandleInformation, buffer.data(), static_cast<ULONG>(buffer.size()), nullptr) < 0) {
        buffer.resize(2 * buffer.size());
    }
    const auto* const pTable = reinterpret_cast<const HandleTable*>(buffer.data());
    std::size_t count = 0;
    for (ULONG_PTR i = 0; i < pTable->count; ++i) {
        count += pTable->rows[i].processId == ::GetCurrentProcessId() ? 1 : 0;
    }
    return count;
}

// All heaps, because the C run-time library may have one of its own.
std::size_t ownHeapBytes() {
    std::vector<HANDLE> heaps(64);
    heaps.resize(::GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data()));
    std::size_t bytes = 0;
    for (const HANDLE hHeap : heaps) {
        PROCESS_HEAP_ENTRY entry{};
        ::HeapLock(hHeap);
        while (::HeapWalk(hHeap, &entry) != FALSE) {
            bytes += (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0 ? entry.cbData : 0;
        }
        ::HeapUnlock(hHeap);
    }
    return bytes;
}

/// What `count` gives in the end.
template <class Value, class Count> Value settled(const Value& expected, Count count) {
    Value held{};
    static_cast<void>(becomesTrue([&] { return (held = count()) == expected; }));
    return held;
}

} // namespace

OwnResources OwnResources::now() {
    return {ownHandles(), ownThreads(), ownHeapBytes()};
}

OwnResources settledAt(const OwnResources& expected) {
    return settled(expected, &OwnResources::now);
}

std::size_t threadsSettledAt(std::size_t expected) {
    return settled(expected, &ownThreads);
}

std::size_t ownPrivateBytes() {
    std::size_t bytes = 0;
    MEMORY_BASIC_INFORMATION region{};
    for (const char* pAt = nullptr; ::VirtualQuery(pAt, &region, sizeof region) != 0; pAt += region.RegionSize) {
        bytes += region.State == MEM_COMMIT && region.Type == MEM_PRIVATE ? region.RegionSize : 0;
    }
    return bytes;
}

std::size_t ownThreads() {
    const KernelHandle snapshot(::CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    std::size_t count = 0;
    for (BOOL more = ::Thread32First(snapshot.get(), &entry); more != FALSE;
         more = ::Thread32Next(snapshot.get(), &entry)) {
        count += entry.th32OwnerProcessID == ::GetCurrentProcessId() ? 1 : 0;
    }
    return count;
}

} // namespace tovix::test
