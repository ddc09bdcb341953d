#include "control/CommandLine.h"
#include "host/SystemError.h"
#include "settings/Refusal.h"
#include "system/WinHandles.h"
#include "text/Utf.h"

#include <shellapi.h>

#include <iostream>
#include <span>

int main() {
    ::SetConsoleOutputCP(CP_UTF8);
    // The system's own list, because main's is in the code page of the user and loses what that does not have.
    int count = 0;
    const tovix::LocalBlock<wchar_t*> pArguments(::CommandLineToArgvW(::GetCommandLineW(), &count));
    if (!pArguments) {
        const DWORD error = ::GetLastError();
        std::cerr << "tovixctl: The command line cannot be read: " << tovix::control::describeSystemError(error)
                  << ".\n";
        return static_cast<int>(tovix::control::ExitStatus::failed);
    }
    std::vector<std::string> arguments;
    for (const wchar_t* const argument : std::span(pArguments.get(), static_cast<std::size_t>(count)).subspan(1)) {
        arguments.push_back(tovix::encodeUtf8(argument));
    }
    return tovix::control::runCommandLine(std::move(arguments));
}
