#include "host/Arguments.h"

#ifdef _WIN32
#include "system/WinHandles.h"
#include "text/Utf.h"

#include <shellapi.h>
#endif

namespace tovix {

#ifdef _WIN32
std::vector<std::string> programArguments(int argc, char** argv) {
    SetConsoleOutputCP(CP_UTF8);
    int count = 0;
    const LocalMemory<wchar_t*> pArguments(CommandLineToArgvW(GetCommandLineW(), &count));
    if (!pArguments) {
        return {argv + 1, argv + argc};
    }
    std::vector<std::string> arguments;
    for (int i = 1; i < count; ++i) {
        arguments.push_back(encodeUtf8(pArguments.get()[i]));
    }
    return arguments;
}
#else
std::vector<std::string> programArguments(int argc, char** argv) {
    return {argv + (argc > 0 ? 1 : 0), argv + argc};
}
#endif

} // namespace tovix
