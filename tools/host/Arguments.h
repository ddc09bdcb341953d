#pragma once

#include <string>
#include <vector>

namespace tovix {

/// The command line after the program's name, in UTF-8: as given to `main`, and on Windows the system's own list,
/// because that of `main` is in the user's code page and loses what this does not have. Also makes a Windows console
/// show UTF-8. [control], once, at the start of `main`.
std::vector<std::string> programArguments(int argc, char** argv);

} // namespace tovix
