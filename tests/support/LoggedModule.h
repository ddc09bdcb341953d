#pragma once

#include "support/ModuleUnderTest.h"
#include "support/RegistryValue.h"

#include <fstream>
#include <functional>
#include <regex>
#include <string>
#include <vector>

namespace tovix::test {

using Lines = std::vector<std::string>;

/// A copy of the module beside the development logger, which is given every line.
class LoggedModule {
public:
    LoggedModule() {
        std::filesystem::copy_file(programFolder() / "Tovix64.dll", path());
        std::filesystem::copy_file(programFolder() / "logger" / "Logger64.dll", m_folder.path() / "Logger64.dll");
        ::SetEnvironmentVariableW(L"TOVIX_LOG_FILE", file().c_str());
    }
    ~LoggedModule() { ::SetEnvironmentVariableW(L"TOVIX_LOG_FILE", nullptr); }
    LoggedModule(const LoggedModule&) = delete;
    LoggedModule& operator=(const LoggedModule&) = delete;

    [[nodiscard]] std::filesystem::path path() const { return m_folder.path() / "Tovix64.dll"; }

    /// The lines since the last call as "LEVEL Class::Method@Source message", without time, process, thread, object
    /// and line number. `count` are waited for, two seconds at most, because the logger writes in its own time; one
    /// too many comes with the next call at the latest. Once the module is unloaded all lines have been written.
    Lines lines(std::size_t count = 0) {
        Lines lines;
        for (int i = 0; i < 200; ++i) {
            readOn(lines);
            if (lines.size() >= count) {
                break;
            }
            ::Sleep(10);
        }
        return lines;
    }

private:
    [[nodiscard]] std::filesystem::path file() const { return m_folder.path() / "record.txt"; }

    void readOn(Lines& lines) {
        static const std::regex layout(R"(\S+Z \d+ (\w+) \[\d+\] \[this=0x[0-9A-F]{16}\] \[(\S+):\d+\] (.*)\r)");
        std::ifstream stream(file(), std::ios::binary);
        stream.seekg(m_read);
        std::smatch match;
        for (std::string line; std::getline(stream, line) && !stream.eof();
             m_read += static_cast<std::streamoff>(line.size()) + 1) {
            if (std::regex_match(line, match, layout)) {
                lines.push_back(match.str(1) + " " + match.str(2) + " " + match.str(3));
            }
        }
    }

    TemporaryFolder m_folder;
    std::streamoff m_read = 0;
};

/// All lines of a module, from its loading to its end, that hold `word`.
inline Lines toldWith(const std::string& word, const std::function<void(const ModuleUnderTest&)>& live) {
    const RegistryValue level(L"MLS", 4);
    LoggedModule logged;
    live(ModuleUnderTest(logged.path()));
    Lines lines = logged.lines();
    std::erase_if(lines, [&](const std::string& line) { return line.find(word) == std::string::npos; });
    return lines;
}

} // namespace tovix::test
