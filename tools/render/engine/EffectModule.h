#pragma once

#include "platform/ComEdge.h"
#include "render/engine/EngineChoice.h"
#include "system/WinHandles.h"

#include <string>

namespace tovix::render {

/// The effect's library as the audio engine comes by it: loaded by its path, or through COM where it is registered.
/// [control]
class EffectModule {
public:
    /// Loads the library and has it name the effect's class; no effect comes into being, so no settings are touched.
    /// Throws RenderError when the library cannot be loaded or is none of this effect.
    explicit EffectModule(const EngineChoice& choice);

    /// A new effect object. Throws RenderError.
    [[nodiscard]] ComReference<IUnknown> createEffect() const;

    /// Which library it is, for people.
    [[nodiscard]] const std::string& description() const noexcept { return m_description; }

    /// Gives the effect's class back, so that no effect can be created any more, and answers what the library says
    /// when it is asked whether it can go.
    [[nodiscard]] bool canUnload() noexcept;

private:
    void load(const EngineChoice& choice);
    void findRegistered();

    std::string m_description;
    /// None where COM has loaded it, and frees it.
    ModuleReference m_module;
    ComReference<IClassFactory> m_factory;
};

} // namespace tovix::render
