// Stands for the audio engine's library: its allocator, with a count of the blocks that are out.

#include <windows.h>

#include <cstdlib>

namespace {

long blocksOut = 0;

} // namespace

extern "C" __declspec(dllexport) HRESULT WINAPI AERT_Allocate(std::size_t sizeBytes, void** ppBlock) {
    *ppBlock = std::malloc(sizeBytes);
    blocksOut += *ppBlock != nullptr ? 1 : 0;
    return *ppBlock != nullptr ? S_OK : E_OUTOFMEMORY;
}

extern "C" __declspec(dllexport) HRESULT WINAPI AERT_Free(void* pBlock) {
    std::free(pBlock);
    --blocksOut;
    return S_OK;
}

extern "C" __declspec(dllexport) long BlocksOut() {
    return blocksOut;
}
