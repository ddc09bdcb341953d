#include "install/EffectProperties.h"

#include "apo/RegistrationRecord.h"

#include <objbase.h>

#include <algorithm>
#include <utility>

namespace tovix::install {
namespace {

/// Not CLSIDFromString, which would look other texts up in the registry.
std::optional<GUID> guidOf(const std::wstring& text) {
    GUID guid{};
    return SUCCEEDED(::IIDFromString(text.c_str(), &guid)) && !text.empty() ? std::optional(guid) : std::nullopt;
}

EffectRow rowOf(const EffectKey& key, const RegistryData& data) {
    const DWORD type = key.kind == EffectKeyKind::composite ? REG_MULTI_SZ : REG_SZ;
    return {.pKey = &key, .classes = data.type == type ? textsOf(data) : std::nullopt};
}

} // namespace

bool isClass(const std::wstring& text) {
    const auto guid = guidOf(text);
    return guid && IsEqualGUID(*guid, GUID{}) == FALSE;
}

bool isThisEffect(const std::wstring& text) {
    const auto guid = guidOf(text);
    return guid && IsEqualGUID(*guid, effectClassId) != FALSE;
}

bool isSameText(std::wstring_view left, std::wstring_view right) noexcept {
    return ::CompareStringOrdinal(left.data(), static_cast<int>(left.size()), right.data(),
                                  static_cast<int>(right.size()), TRUE) == CSTR_EQUAL;
}

bool EffectRow::isSet() const {
    return classes && std::any_of(classes->begin(), classes->end(), isClass);
}

bool EffectRow::holdsThisEffect() const {
    return classes && std::any_of(classes->begin(), classes->end(), isThisEffect);
}

bool EffectProperties::Earlier::operator()(std::wstring_view left, std::wstring_view right) const noexcept {
    return ::CompareStringOrdinal(left.data(), static_cast<int>(left.size()), right.data(),
                                  static_cast<int>(right.size()), TRUE) == CSTR_LESS_THAN;
}

EffectProperties EffectProperties::read(const RegistryTree& registry, const std::wstring& key) {
    EffectProperties properties;
    for (const auto& name : registry.valuesOf(key)) {
        properties.set(name, registry.read(key, name));
    }
    return properties;
}

std::optional<RegistryData> EffectProperties::get(std::wstring_view name) const {
    const auto found = m_values.find(name);
    return found != m_values.end() ? std::optional(found->second) : std::nullopt;
}

void EffectProperties::set(std::wstring_view name, std::optional<RegistryData> data) {
    if (data) {
        m_values.insert_or_assign(std::wstring(name), *std::move(data));
    } else {
        m_values.erase(std::wstring(name));
    }
}

bool EffectProperties::areEnhancementsOff() const {
    return get(enhancementsOffKey) == numberData(1);
}

std::vector<EffectRow> EffectProperties::rows() const {
    std::vector<EffectRow> rows;
    for (const EffectKey& key : effectKeys) {
        if (const auto data = get(key.key)) {
            rows.push_back(rowOf(key, *data));
        }
    }
    return rows;
}

std::optional<EffectKeyKind> EffectProperties::usedKind() const {
    std::optional<EffectKeyKind> newest;
    for (const EffectRow& row : rows()) {
        if (row.isSet()) {
            newest = std::max(newest.value_or(row.pKey->kind), row.pKey->kind);
        }
    }
    return newest;
}

std::optional<EffectRow> EffectProperties::attachedRow() const {
    std::optional<EffectRow> found;
    for (const EffectRow& row : rows()) {
        if (row.holdsThisEffect() && (!found || row.pKey->kind > found->pKey->kind)) {
            found = row;
        }
    }
    return found;
}

std::wstring EffectProperties::keptClass() const {
    const std::wstring text = firstTextOf(get(keptEffectKey));
    return isClass(text) ? text : L"";
}

std::vector<ValueChange> EffectProperties::changesTo(const EffectProperties& others, const std::wstring& key) const {
    auto all = m_values; // for the names
    all.insert(others.m_values.begin(), others.m_values.end());
    std::vector<ValueChange> changes;
    for (const auto& [name, data] : all) {
        if (const auto before = get(name), after = others.get(name); before != after) {
            changes.push_back({.key = key, .name = name, .before = before, .after = after});
        }
    }
    return changes;
}

} // namespace tovix::install
