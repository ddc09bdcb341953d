#pragma once

#include <windows.h>

#include <string>

namespace tovix::control {

/// "access is denied (error 5)": the system's own words for an error code, in UTF-8.
std::string describeSystemError(DWORD error);

} // namespace tovix::control
