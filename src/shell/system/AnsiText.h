#pragma once

#include <string>
#include <string_view>

namespace tovix {

/// [control] Decodes `bytes` with the system's ANSI code page; empty when the system cannot.
std::wstring decodeAnsiText(std::string_view bytes);

} // namespace tovix
