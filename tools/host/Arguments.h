#pragma once

#include <string>
#include <vector>

namespace tovix::render {

/// The command line after the program's name, in UTF-8: as given to `main`, and on Windows, where that is in a code
/// page, as the system has it. Also makes a Windows console show UTF-8.
std::vector<std::string> programArguments(int argc, char** argv);

} // namespace tovix::render
