#pragma once

#include "filters/IFilter.h"

#include <cstdint>
#include <string>

namespace tovix {

/// [control] Names of `channelCount` channels in the platform's speaker-mask order: the speakers whose bits are set
/// in `channelMask`, from the lowest bit up (FL, FR, FC, LFE, BL, BR, FLC, FRC, BC, SL, SR, TC, TFL, TFC, TFR, TBL,
/// TBC, TBR). Channels beyond the mask are named by their number, counted from 1.
ChannelList channelNames(std::uint32_t channelCount, std::uint32_t channelMask);

/// [control] The names in one text, separated by blanks, for the log.
std::wstring channelDescription(const ChannelList& channels);

} // namespace tovix
