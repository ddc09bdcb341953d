#include "CommandLine.h"
#include "helpers/Utf.h"
#include "helpers/WinHandles.h"

#include <shellapi.h>

#include <span>

int main() {
    ::SetConsoleOutputCP(CP_UTF8);
    // The system's own list, because main's is in the code page of the user and loses what that does not have.
    int count = 0;
    const tovix::LocalBlock<wchar_t*> pArguments(::CommandLineToArgvW(::GetCommandLineW(), &count));
    std::vector<std::string> arguments;
    for (const wchar_t* const argument : std::span(pArguments.get(), static_cast<std::size_t>(count)).subspan(1)) {
        arguments.push_back(tovix::encodeUtf8(argument));
    }
    return tovix::control::runCommandLine(std::move(arguments));
}
