// A process that logs as the effect does, through the logger library beside it, and ends without a word to the
// library. Argument: how many lines.

#include "log/Log.h"
#include "log/QuelLog.h"

#include <cstdlib>

int main(int count, char** arguments) {
    using namespace tovix;
    QuelLog::instance().attach();
    const int lines = count > 1 ? std::atoi(arguments[1]) : 1;
    for (int i = 0; i < lines && logEnabled(LogLevel::Error); ++i) {
        FunctionLog("Process::main", "LoggingProcess", nullptr)
            .error({"line ", 1}, static_cast<std::uint32_t>(i), " end");
        if (i % 50 == 49) {
            ::Sleep(1);
        }
    }
    return 0;
}
