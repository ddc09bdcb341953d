#pragma once

#include "apo/EffectKeys.h"
#include "install/MachineChange.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tovix::install {

/// The property of an output device that switches its effects off, where it is 1.
inline constexpr const wchar_t* enhancementsOffKey = L"{1da5d803-d492-4edd-8c23-e0c0ffee7f0e},5";

/// What stands under one effect key of a device.
struct EffectRow {
    /// One of `effectKeys`.
    const EffectKey* pKey = nullptr;
    /// The texts that stand there; none where the value has another type than it should have.
    std::optional<std::vector<std::wstring>> classes;

    /// Whether a class stands there, which a text that is empty or no identifier is not, nor the null identifier.
    [[nodiscard]] bool isSet() const;
    [[nodiscard]] bool holdsThisEffect() const;
};

/// The values of a device's effect properties, in memory. Names are compared as the registry does, in either case.
/// [control], one thread at a time.
class EffectProperties {
public:
    /// Empty where there is no such key. Throws InstallRefusal.
    static EffectProperties read(const RegistryTree& registry, const std::wstring& key);

    [[nodiscard]] bool isEmpty() const noexcept { return m_values.empty(); }

    /// None where there is no such value.
    [[nodiscard]] std::optional<RegistryData> get(std::wstring_view name) const;

    /// None takes the value away.
    void set(std::wstring_view name, std::optional<RegistryData> data);

    [[nodiscard]] bool areEnhancementsOff() const;

    /// The effect keys that are there, in the order of `effectKeys`.
    [[nodiscard]] std::vector<EffectRow> rows() const;

    /// The newest kind of effect key that is set, which is the one that the engine uses; none where none is set.
    [[nodiscard]] std::optional<EffectKeyKind> usedKind() const;

    /// The row in which this effect's class stands, one of the kind that is used before another; none where it stands
    /// in none.
    [[nodiscard]] std::optional<EffectRow> attachedRow() const;

    /// The class that an attachment took the place of; empty where it is not known.
    [[nodiscard]] std::wstring keptClass() const;

    /// What makes these properties, under the key, into `others`; sorted by name, so that a replaced class is kept
    /// before it is replaced.
    [[nodiscard]] std::vector<ValueChange> changesTo(const EffectProperties& others, const std::wstring& key) const;

private:
    struct Earlier {
        using is_transparent = void;
        bool operator()(std::wstring_view left, std::wstring_view right) const noexcept;
    };

    std::map<std::wstring, RegistryData, Earlier> m_values;
};

/// [control] Whether two texts are the same but for the case of letters.
bool isSameText(std::wstring_view left, std::wstring_view right) noexcept;

/// [control] Whether a text is the identifier of a class, and of this effect's.
bool isClass(const std::wstring& text);
bool isThisEffect(const std::wstring& text);

} // namespace tovix::install
