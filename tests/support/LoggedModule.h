#pragma once

#include "support/EnvironmentVariable.h"
#include "support/ModuleUnderTest.h"
#include "support/RegistryValue.h"

#include <functional>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace tovix::test {

using Lines = std::vector<std::string>;

/// All lines of a module that hold `word`, from its loading to its end, as "LEVEL Class::Method@Source message": a
/// copy of it beside the development logger, which is given every line.
inline Lines toldBy(const std::function<void(const ModuleUnderTest&)>& live, const char* word = "") {
    const RegistryValue level(L"MLS", 4);
    const TemporaryFolder folder;
    const auto record = folder.path() / "record.txt";
    std::filesystem::copy_file(programFolder() / "Tovix64.dll", folder.path() / "Tovix64.dll");
    std::filesystem::copy_file(programFolder() / "logger" / "Logger64.dll", folder.path() / "Logger64.dll");
    const EnvironmentVariable file(L"TOVIX_LOG_FILE", record.wstring());
    live(ModuleUnderTest(folder.path() / "Tovix64.dll"));
    static const std::regex layout(R"(\S+Z \d+ (\w+) \[\d+\] \[this=0x[0-9A-F]{16}\] \[(\S+):\d+\] (.*)\r)");
    Lines lines;
    std::istringstream stream(contentOf(record));
    std::smatch match;
    for (std::string line; std::getline(stream, line);) {
        if (std::regex_match(line, match, layout) && line.find(word) != std::string::npos) {
            lines.push_back(match.str(1) + " " + match.str(2) + " " + match.str(3));
        }
    }
    return lines;
}

} // namespace tovix::test
