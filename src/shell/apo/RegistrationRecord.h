#pragma once

#include "platform/ApoInterfaces.h"

namespace tovix {

/// The effect's class: in the registration record, the class factory and the registry keys.
inline constexpr CLSID effectClassId{0x8B1D5C3E, 0x6A47, 0x4F0B, {0x9E, 0x52, 0xC7, 0xA3, 0xD8, 0xF4, 0x1B, 0x60}};

/// What the effect tells the engine about itself: one connection each way, in place, equal rates and sample widths
/// on both sides, any number of instances.
extern const APO_REG_PROPERTIES registrationRecord;

} // namespace tovix
