#include "chain/ChannelNames.h"

#include <array>

namespace tovix {
namespace {

constexpr std::array<const wchar_t*, 18> speakerNames{L"FL",  L"FR",  L"FC",  L"LFE", L"BL",  L"BR",
                                                      L"FLC", L"FRC", L"BC",  L"SL",  L"SR",  L"TC",
                                                      L"TFL", L"TFC", L"TFR", L"TBL", L"TBC", L"TBR"};

} // namespace

ChannelList channelNames(std::uint32_t channelCount, std::uint32_t channelMask) {
    ChannelList names;
    names.reserve(channelCount);
    for (std::size_t bit = 0; bit < speakerNames.size() && names.size() < channelCount; ++bit) {
        if ((channelMask >> bit & 1U) != 0) {
            names.emplace_back(speakerNames[bit]);
        }
    }
    while (names.size() < channelCount) {
        names.push_back(std::to_wstring(names.size() + 1));
    }
    return names;
}

std::wstring channelDescription(const ChannelList& channels) {
    std::wstring text;
    for (const auto& name : channels) {
        if (!text.empty()) {
            text += L' ';
        }
        text += name;
    }
    return text;
}

} // namespace tovix
