#include "apo/RegistrationRecord.h"

#include <tovix/Version.h>

#include <algorithm>
#include <string_view>

namespace tovix {
namespace {

/// Copies `text` into a record's field, cut so that its terminator fits.
constexpr void setText(WCHAR (&field)[apoTextCapacity], std::wstring_view text) noexcept {
    const auto kept = text.substr(0, apoTextCapacity - 1);
    std::copy(kept.begin(), kept.end(), field);
    field[kept.size()] = L'\0';
}

constexpr APO_REG_PROPERTIES makeRecord() noexcept {
    APO_REG_PROPERTIES record{};
    record.clsid = effectClassId;
    record.Flags = static_cast<APO_FLAG>(APO_FLAG_INPLACE | APO_FLAG_FRAMESPERSECOND_MUST_MATCH |
                                         APO_FLAG_BITSPERSAMPLE_MUST_MATCH);
    setText(record.szFriendlyName, L"Tovix");
    setText(record.szCopyrightInfo, L"Copyright (c) the Tovix authors");
    record.u32MajorVersion = TOVIX_VERSION_MAJOR;
    record.u32MinorVersion = TOVIX_VERSION_MINOR;
    record.u32MinInputConnections = 1;
    record.u32MaxInputConnections = 1;
    record.u32MinOutputConnections = 1;
    record.u32MaxOutputConnections = 1;
    record.u32MaxInstances = 0xFFFFFFFF;
    record.u32NumAPOInterfaces = 1;
    record.iidAPOInterfaceList[0] = IID_IAudioProcessingObject;
    return record;
}

} // namespace

constinit const APO_REG_PROPERTIES registrationRecord = makeRecord();

} // namespace tovix
