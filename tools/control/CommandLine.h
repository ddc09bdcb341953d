#pragma once

#include <string>
#include <vector>

namespace tovix::control {

/// Reads the command line (UTF-8, without the program's name), carries it out and answers the exit status.
int runCommandLine(std::vector<std::string> arguments);

} // namespace tovix::control
