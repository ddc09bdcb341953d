#pragma once

#include <windows.h>

#include <string>
#include <string_view>

namespace tovix {

/// Text that only the system can give. [control]; throws std::bad_alloc.

/// The system's own words for an error code, on one line; empty where it has none.
std::wstring systemMessage(DWORD error);

/// Decodes `bytes` with the system's ANSI code page; empty when the system cannot.
std::wstring decodeAnsiText(std::string_view bytes);

} // namespace tovix
