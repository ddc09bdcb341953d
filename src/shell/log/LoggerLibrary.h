#pragma once

#include <array>

namespace tovix {

/// Longest path that is taken for the effect's own module, terminator included.
constexpr unsigned modulePathCapacity = 260;

using LoggerLibraryPath = std::array<wchar_t, modulePathCapacity + 16>;

/// [control] Full path of "Logger64.dll" beside the module that contains this function; empty when the module's
/// own path cannot be had whole, so that a bare file name, which the loader would search for, never comes out.
LoggerLibraryPath loggerLibraryPath() noexcept;

} // namespace tovix
