#pragma once

#include "platform/ApoInterfaces.h"
#include "platform/ComEdge.h"

#include <propsys.h>

#include <vector>

namespace tovix {

class PreviousEffectSlot;

/// [control] The classes that may be the device's previous effect by these effect properties, the likeliest first,
/// each once and none of them this effect's own. Throws std::bad_alloc.
///
/// First the class that an attachment kept (`keptEffectKey`). Then, where this effect's class stands in an effect
/// key, the classes under older kinds of keys of the same side: the engine runs the newest kind that is set and no
/// other, so that they ran until this effect came. Nothing under an older kind counts while another class stands
/// under a newer one, because it did not run then either.
std::vector<CLSID> previousEffectClasses(IPropertyStore& effectProperties);

/// Looks for the device's previous effect once after each `begin`, makes it, and initializes it as the engine would.
/// All operations are [control], for one thread at a time.
class PreviousEffectSearch {
public:
    PreviousEffectSearch() noexcept = default;
    PreviousEffectSearch(const PreviousEffectSearch&) = delete;
    PreviousEffectSearch& operator=(const PreviousEffectSearch&) = delete;

    /// Gets ready for an effect that was initialized with these stores, either of which may be null, and keeps a
    /// reference to each until `end`, the next `begin` or the destruction. Looks at neither.
    void begin(IPropertyStore* pEndpointProperties, IPropertyStore* pEffectProperties) noexcept;

    /// Gives the stores back; there is nothing to look for until the next `begin`.
    void end() noexcept;

    /// Whether `fill` would look.
    [[nodiscard]] bool isDue() const noexcept { return m_isDue; }

    /// At the first call after `begin`, puts the first class into `slot` that can be made, takes its initialization
    /// and has all interfaces. A class that does not is a WARNING, and the sound goes on without it.
    void fill(PreviousEffectSlot& slot) noexcept;

private:
    HRESULT tryClass(REFCLSID classId, PreviousEffectSlot& slot) const noexcept;
    HRESULT initialize(REFCLSID classId, IUnknown& object) const noexcept;

    ComReference<IPropertyStore> m_endpointProperties;
    ComReference<IPropertyStore> m_effectProperties;
    bool m_isDue = false;
};

} // namespace tovix
