#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace tovix {

/// Where an effect stands relative to the mix of all streams of an endpoint.
enum class EffectSide : std::uint8_t { beforeMix = 0, afterMix = 1 };

/// How a key names effects: one class of the oldest two kinds of place, one class of the later three, or a list.
enum class EffectKeyKind : std::uint8_t { legacy = 0, single = 1, composite = 2 };

/// A property of an endpoint under which a previous effect's class may stand, in the property key's text form.
struct EffectKey {
    std::wstring_view key;
    /// The property that holds the effect's processing modes; empty where there is none.
    std::wstring_view modesKey;
    EffectSide side;
    EffectKeyKind kind;
    /// 1 for a key that names one class, 7 for a list. Nothing reads it.
    std::uint8_t scope;
};

constexpr std::size_t effectKeyCount = 8;

/// For any thread: constant, in the module's read-only data. Loading the module runs no code for it.
extern const std::array<EffectKey, effectKeyCount> effectKeys;

/// The same effect keys alone, in the same order, for a search that needs no more.
extern const std::array<std::wstring_view, effectKeyCount> effectKeyNames;

/// The property, of this product's own, that keeps the class which an attachment took the place of, beside the effect
/// keys of the same endpoint. A class in text form, or an empty text where it took the place of none.
constexpr std::wstring_view keptEffectKey = L"{6b59ff62-03f5-49f3-9312-ba0b5ec8880b},2";

} // namespace tovix
