#pragma once

#include "platform/ComEdge.h"
#include "render/engine/Engine.h"
#include "render/files/ProgramEnd.h"
#include "system/WinHandles.h"

#include <string>

namespace tovix::render {

/// [control] Throws RenderError with `sentence` and the code when `result` is a failure.
void requireSuccess(HRESULT result, const char* sentence);

/// [control] Takes over the reference that a call has handed out. Throws RenderError with `sentence` when the call
/// failed, or claims success and hands out nothing.
template <class Interface>
ComReference<Interface> requireObject(HRESULT result, void* pObject, const char* sentence) {
    requireSuccess(result, sentence);
    if (pObject == nullptr) {
        throw RenderError(ExitStatus::failure, std::string(sentence) + " (it answers with nothing).");
    }
    return ComReference<Interface>(static_cast<Interface*>(pObject));
}

/// The effect's library as the audio engine gets it: loaded by its path, or through COM where it is registered.
/// [control]
class EffectModule {
public:
    /// Loads the library and asks it for the effect's class. No effect is created, so no settings are touched. Throws
    /// RenderError when the library cannot be loaded or does not hold this effect.
    explicit EffectModule(const EngineChoice& choice);

    /// A new effect object. Throws RenderError.
    [[nodiscard]] ComReference<IUnknown> createEffect() const;

    /// Which library it is, for people.
    [[nodiscard]] const std::string& description() const noexcept { return m_description; }

    /// Gives the effect's class back, after which no effect can be created, and returns what the library says when it
    /// is asked whether it can be unloaded.
    [[nodiscard]] bool canUnload() noexcept;

private:
    void load(const EngineChoice& choice);
    void findRegistered();

    std::string m_description;
    /// Null where COM has loaded the library, and frees it.
    ModuleReference m_module;
    ComReference<IClassFactory> m_factory;
};

} // namespace tovix::render
