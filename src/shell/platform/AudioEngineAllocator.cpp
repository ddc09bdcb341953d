#include "platform/AudioEngineAllocator.h"

#include "memory/MemoryMgr.h"
#include "system/MadeOnce.h"
#include "system/ProcessQueries.h"
#include "system/WinHandles.h"

#include <array>
#include <cstddef>
#include <string_view>

namespace tovix {
namespace {

/// By its full path, because a bare name also finds a library of that name that is loaded from elsewhere.
ModuleReference loadFromSystemFolder(std::wstring_view fileName) noexcept {
    std::array<wchar_t, MAX_PATH> path{};
    const std::size_t length = ::GetSystemDirectoryW(path.data(), static_cast<UINT>(path.size()));
    if (length == 0 || length + 1 + fileName.size() >= path.size()) {
        return nullptr;
    }
    path[length] = L'\\';
    fileName.copy(path.data() + length + 1, fileName.size());
    return ModuleReference(::LoadLibraryExW(path.data(), nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32));
}

class AudioEngine {
public:
    AudioEngine() noexcept : m_library(loadFromSystemFolder(L"audioeng.dll")), m_previous(rtAllocator()) {
        if (m_library) {
            m_pAllocate = moduleExport<AllocateFunction>(m_library.get(), "AERT_Allocate");
            m_pFree = moduleExport<FreeFunction>(m_library.get(), "AERT_Free");
        }
        if (usable()) {
            installRtAllocator({
                [](std::size_t sizeBytes, void** ppMemory) noexcept -> RtResult {
                    return instance().m_pAllocate(sizeBytes, ppMemory);
                },
                [](void* pMemory) noexcept -> RtResult { return instance().m_pFree(pMemory); },
            });
        }
    }
    ~AudioEngine() {
        installRtAllocator(m_previous);
        if (processIsEnding()) {
            static_cast<void>(m_library.release());
        }
    }
    AudioEngine(const AudioEngine&) = delete;
    AudioEngine& operator=(const AudioEngine&) = delete;

    static AudioEngine& instance() noexcept { return MadeOnce<AudioEngine>::get(); }

    [[nodiscard]] bool usable() const noexcept { return m_pAllocate != nullptr && m_pFree != nullptr; }

private:
    using AllocateFunction = HRESULT WINAPI(std::size_t sizeBytes, void** ppMemory);
    using FreeFunction = HRESULT WINAPI(void* pMemory);

    ModuleReference m_library;
    RtAllocator m_previous;
    AllocateFunction* m_pAllocate = nullptr;
    FreeFunction* m_pFree = nullptr;
};

} // namespace

bool installAudioEngineAllocator() noexcept {
    return AudioEngine::instance().usable();
}

} // namespace tovix
