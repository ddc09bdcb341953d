// A library that uses the effect's logger as the effect's own module does.

#include "log/QuelLog.h"

/// Attaches the logger and writes one line.
extern "C" __declspec(dllexport) void LogOneLine() {
    tovix::QuelLog::instance().attach();
    tovix::FunctionLog("Module::Line", "Module", nullptr).info({"from the module", 1});
}
