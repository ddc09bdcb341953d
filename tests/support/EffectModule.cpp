// A library that uses the effect's threads and logger as the effect's own module does.

#include "helpers/ModuleThread.h"
#include "log/QuelLog.h"

namespace {

DWORD waitFor(void* pEvent) noexcept {
    ::WaitForSingleObject(pEvent, INFINITE);
    return 42;
}

} // namespace

/// Starts a thread that ends with 42 once `hEvent` is signalled; the caller owns the handle.
extern "C" __declspec(dllexport) HANDLE StartThreadThatWaits(HANDLE hEvent) {
    return tovix::startModuleThread<&waitFor>(hEvent).release();
}

/// Attaches the logger and writes one line.
extern "C" __declspec(dllexport) void LogOneLine() {
    tovix::QuelLog::instance().attach();
    tovix::LogLine(tovix::LogLevel::Info, {"Module::Line", "Module", 1}, nullptr).text("from the module").write();
}
