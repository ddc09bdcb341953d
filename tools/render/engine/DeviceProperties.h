#pragma once

#include "platform/ComEdge.h"

#include <propsys.h>

#include <optional>
#include <string>

namespace tovix::render {

/// The property stores of a device that exists for one render only. [control]
class DeviceProperties {
public:
    /// With a class in braced text, the device's effect properties keep that class as its previous effect; without,
    /// it had none. Throws RenderError (usage) for a text that is no class or is this effect's own, and (failure) for
    /// a class that cannot be had: the effect itself would go on without it.
    explicit DeviceProperties(const std::optional<std::string>& previousEffect);

    /// Borrowed.
    [[nodiscard]] IPropertyStore* endpoint() const noexcept { return m_endpoint.get(); }
    [[nodiscard]] IPropertyStore* effects() const noexcept { return m_effects.get(); }

private:
    ComReference<IPropertyStore> m_endpoint;
    ComReference<IPropertyStore> m_effects;
};

} // namespace tovix::render
