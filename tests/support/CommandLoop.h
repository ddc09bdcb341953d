#pragma once

#include <algorithm>
#include <functional>
#include <iostream>
#include <map>
#include <string>

namespace tovix::test {

/// Obeys one command a line from the standard input, each with the rest of its line for an argument, and writes one
/// line for each to the standard output. Returns the program's exit status at the input's end.
inline int obeyCommands(const std::map<std::string, std::function<std::string(const std::string&)>>& commands) {
    for (std::string line; std::getline(std::cin, line);) {
        const auto command = line.substr(0, line.find(' '));
        const auto found = commands.find(command);
        const auto argument = line.substr(std::min(line.size(), command.size() + 1));
        std::cout << (found != commands.end() ? found->second(argument) : "unknown command") << std::endl;
    }
    return 0;
}

} // namespace tovix::test
