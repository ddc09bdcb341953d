#pragma once

#include "EngineChoice.h"
#include "helpers/WinHandles.h"
#include "platform/ComReference.h"

#include <string>

namespace tovix::render {

/// The effect's library as the audio engine comes by it: loaded by its path, or through COM where it is registered.
/// [control]
class EffectModule {
public:
    /// Throws RenderError when the library cannot be loaded or is none of this effect.
    explicit EffectModule(const EngineChoice& choice);

    /// A new effect object. Throws RenderError.
    [[nodiscard]] ComReference<IUnknown> createEffect() const;

    /// Which library it is, for people.
    [[nodiscard]] const std::string& description() const noexcept { return m_description; }

    /// What the library answers when it is asked whether it can go; true for a registered one, which COM asks.
    [[nodiscard]] bool canUnload() const noexcept;

private:
    bool m_registered;
    std::string m_description = "the registered library";
    ModuleReference m_module;
};

} // namespace tovix::render
