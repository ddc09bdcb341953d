#include "render/engine/EffectModule.h"

#include "apo/RegistrationRecord.h"
#include "host/SystemQueries.h"
#include "render/files/FileNames.h"

#include <array>
#include <charconv>
#include <filesystem>

namespace tovix::render {
namespace {

constexpr const wchar_t* libraryName = L"Tovix64.dll";

std::filesystem::path libraryPath(const EngineChoice& choice) {
    return choice.libraryPath.empty() ? std::filesystem::path(ownProgramPath()).parent_path() / libraryName
                                      : std::filesystem::absolute(pathFromUtf8(choice.libraryPath));
}

} // namespace

void requireSuccess(HRESULT result, const char* sentence) {
    if (FAILED(result)) {
        std::array<char, 8> digits{};
        const auto code = static_cast<std::uint32_t>(result);
        char* const pEnd = std::to_chars(digits.data(), digits.data() + digits.size(), code, 16).ptr;
        throw RenderError(ExitStatus::failure,
                          std::string(sentence) + " (0x" + std::string(digits.data(), pEnd) + ").");
    }
}

EffectModule::EffectModule(const EngineChoice& choice) {
    if (choice.registered) {
        findRegistered();
    } else {
        load(choice);
    }
}

void EffectModule::load(const EngineChoice& choice) {
    const auto path = libraryPath(choice);
    m_description = textOfPath(path);
    m_module.reset(::LoadLibraryW(path.c_str()));
    if (!m_module) {
        const DWORD error = ::GetLastError();
        // The system's own text for this error has a placeholder for a name in it.
        const std::string reason =
            error == ERROR_BAD_EXE_FORMAT ? "it is no 64-bit library" : describeSystemError(error);
        throw RenderError(ExitStatus::failure,
                          "the effect's library " + m_description + " cannot be loaded: " + reason + ".");
    }
    auto* const getClassObject =
        moduleExport<HRESULT WINAPI(REFCLSID, REFIID, void**)>(m_module.get(), "DllGetClassObject");
    if (getClassObject == nullptr) {
        throw RenderError(ExitStatus::failure, "the library " + m_description + " has no DllGetClassObject.");
    }
    void* pFactory = nullptr;
    const HRESULT result = getClassObject(effectClassId, IID_IClassFactory, &pFactory);
    m_factory = requireObject<IClassFactory>(result, pFactory, "the library does not hold the effect");
}

void EffectModule::findRegistered() {
    m_description = "the registered library";
    void* pFactory = nullptr;
    const HRESULT result =
        ::CoGetClassObject(effectClassId, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory, &pFactory);
    m_factory = requireObject<IClassFactory>(
        result, pFactory, "the registered effect cannot be created; regsvr32 Tovix64.dll registers it");
}

ComReference<IUnknown> EffectModule::createEffect() const {
    void* pEffect = nullptr;
    const HRESULT result = m_factory->CreateInstance(nullptr, IID_IUnknown, &pEffect);
    return requireObject<IUnknown>(result, pEffect, "the effect cannot be created");
}

bool EffectModule::canUnload() noexcept {
    m_factory.reset();
    const HMODULE hModule = m_module ? m_module.get() : ::GetModuleHandleW(libraryName);
    auto* const canUnloadNow =
        hModule != nullptr ? moduleExport<HRESULT WINAPI()>(hModule, "DllCanUnloadNow") : nullptr;
    return canUnloadNow == nullptr || canUnloadNow() == S_OK;
}

} // namespace tovix::render
