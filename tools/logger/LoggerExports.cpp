// The library's two exports and its entry point. It never goes away on its own: the writer's thread holds the module
// until the effect releases the logger, so there is no moment at which it would have to detach itself.

#include "logger/DevelopmentLogger.h"

using tovix::IQuelLogger;
using tovix::IQuelLoggerUser;
using tovix::logger::DevelopmentLogger;
using tovix::logger::LineWriter;

extern "C" {

__declspec(dllexport) IQuelLogger* ProvideLogger(const wchar_t* applicationName, std::int32_t offeredLevel,
                                                 IQuelLoggerUser* /*pUser*/) noexcept {
    return DevelopmentLogger::make(applicationName, offeredLevel).release();
}

__declspec(dllexport) void ReleaseLogger(IQuelLogger* pLogger, IQuelLoggerUser* /*pUser*/) noexcept {
    const std::unique_ptr<DevelopmentLogger> pOwn(static_cast<DevelopmentLogger*>(pLogger));
}

BOOL WINAPI DllMain(HINSTANCE /*hModule*/, DWORD reason, void* pProcessIsEnding) noexcept {
    if (reason == DLL_PROCESS_DETACH && pProcessIsEnding != nullptr) {
        LineWriter::takeOverAll();
    }
    return TRUE;
}

} // extern "C"
