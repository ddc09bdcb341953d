#pragma once

#include <windows.h>

#include <string>

namespace tovix {

/// [control] The system's own words for an error code, on one line; empty where it has none. Throws std::bad_alloc.
std::wstring systemMessage(DWORD error);

} // namespace tovix
