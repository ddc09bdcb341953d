#include "apo/EffectKeys.h"

namespace tovix {
namespace {

constexpr std::wstring_view streamModes = L"{d3993a3f-99c2-4402-b5ec-a92a0367664b},5";
constexpr std::wstring_view modeModes = L"{d3993a3f-99c2-4402-b5ec-a92a0367664b},6";
constexpr std::wstring_view endpointModes = L"{d3993a3f-99c2-4402-b5ec-a92a0367664b},7";

constexpr std::array<EffectKey, effectKeyCount> makeKeys() noexcept {
    using enum EffectSide;
    using enum EffectKeyKind;
    return {{
        {L"{d04e05a6-594b-4fb6-a80d-01af5eed7d1d},1", {}, beforeMix, legacy, 1},
        {L"{d04e05a6-594b-4fb6-a80d-01af5eed7d1d},2", {}, afterMix, legacy, 1},
        {L"{d04e05a6-594b-4fb6-a80d-01af5eed7d1d},5", streamModes, beforeMix, single, 1},
        {L"{d04e05a6-594b-4fb6-a80d-01af5eed7d1d},6", modeModes, beforeMix, single, 1},
        {L"{d04e05a6-594b-4fb6-a80d-01af5eed7d1d},7", endpointModes, afterMix, single, 1},
        {L"{d04e05a6-594b-4fb6-a80d-01af5eed7d1d},13", streamModes, beforeMix, composite, 7},
        {L"{d04e05a6-594b-4fb6-a80d-01af5eed7d1d},14", modeModes, beforeMix, composite, 7},
        {L"{d04e05a6-594b-4fb6-a80d-01af5eed7d1d},15", endpointModes, afterMix, composite, 7},
    }};
}

constexpr std::array<std::wstring_view, effectKeyCount> makeNames() noexcept {
    std::array<std::wstring_view, effectKeyCount> names{};
    const auto keys = makeKeys();
    for (std::size_t i = 0; i < effectKeyCount; ++i) {
        names[i] = keys[i].key;
    }
    return names;
}

} // namespace

constinit const std::array<EffectKey, effectKeyCount> effectKeys = makeKeys();
constinit const std::array<std::wstring_view, effectKeyCount> effectKeyNames = makeNames();

} // namespace tovix
