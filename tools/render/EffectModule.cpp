#include "EffectModule.h"

#include "ComFailure.h"
#include "FilePath.h"
#include "RegistrationRecord.h"

#include <array>
#include <filesystem>

namespace tovix::render {
namespace {

std::filesystem::path besideThisProgram(const wchar_t* name) {
    std::array<wchar_t, 1024> path{};
    ::GetModuleFileNameW(nullptr, path.data(), path.size() - 1);
    return std::filesystem::path(path.data()).parent_path() / name;
}

std::filesystem::path libraryPath(const EngineChoice& choice) {
    return choice.libraryPath.empty() ? besideThisProgram(L"Tovix64.dll")
                                      : std::filesystem::absolute(pathFromUtf8(choice.libraryPath));
}

} // namespace

EffectModule::EffectModule(const EngineChoice& choice) : m_registered(choice.registered) {
    if (m_registered) {
        return;
    }
    const auto path = libraryPath(choice);
    m_description = utf8Text(path);
    m_module.reset(::LoadLibraryW(path.c_str()));
    if (!m_module) {
        throw RenderError(ExitStatus::failure, "the effect's library " + m_description + " cannot be loaded.");
    }
}

ComReference<IUnknown> EffectModule::createEffect() const {
    void* pEffect = nullptr;
    if (m_registered) {
        requireSuccess(::CoCreateInstance(effectClassId, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, &pEffect),
                       "the registered effect cannot be created");
        return ComReference<IUnknown>(static_cast<IUnknown*>(pEffect));
    }
    auto* const getClassObject =
        moduleExport<HRESULT WINAPI(REFCLSID, REFIID, void**)>(m_module.get(), "DllGetClassObject");
    if (getClassObject == nullptr) {
        throw RenderError(ExitStatus::failure, "the effect's library has no DllGetClassObject.");
    }
    void* pFactory = nullptr;
    requireSuccess(getClassObject(effectClassId, IID_IClassFactory, &pFactory),
                   "the library does not hold the effect");
    const ComReference<IClassFactory> factory(static_cast<IClassFactory*>(pFactory));
    requireSuccess(factory->CreateInstance(nullptr, IID_IUnknown, &pEffect), "the effect cannot be created");
    return ComReference<IUnknown>(static_cast<IUnknown*>(pEffect));
}

bool EffectModule::canUnload() const noexcept {
    auto* const canUnloadNow = m_module ? moduleExport<HRESULT WINAPI()>(m_module.get(), "DllCanUnloadNow") : nullptr;
    return canUnloadNow == nullptr || canUnloadNow() == S_OK;
}

} // namespace tovix::render
