#pragma once

#include "text/Limits.h"

#include <cstddef>

namespace tovix {

/// Names of the kernel objects that the effect and its control application share. Global, because the two run
/// in different logon sessions.

/// The block: a page-file-backed mapping of `configDataBytes` bytes of settings text, ended by the first NUL.
inline constexpr const wchar_t* CONFIG_DATA_STRUCT = L"Global\\TovixConfigData";
/// Auto-reset event: the text has been rewritten, whole, before it is signalled.
inline constexpr const wchar_t* CONFIG_DATA_UPDATE_EVENT = L"Global\\TovixDataUpdate";
/// Auto-reset event: the block has been created.
inline constexpr const wchar_t* CONFIG_DATA_CREATE_EVENT = L"Global\\TovixDataCreate";

inline constexpr std::size_t configDataBytes = settingsPageBytes;

} // namespace tovix
