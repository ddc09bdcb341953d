#include "module/ProcessInfo.h"

#include "log/Log.h"
#include "system/ProcessQueries.h"

namespace tovix {
namespace {

FunctionLog processInfoLog() noexcept {
    return {"LogProcessInfo", "ClassFactory", nullptr};
}

const char* integrityName(std::uint32_t rid) noexcept {
    switch (rid) {
    case 0:
        return "Untrusted";
    case 0x1000:
        return "Low";
    case 0x2000:
        return "Medium";
    case 0x3000:
        return "High";
    case 0x4000:
        return "System";
    default:
        return "Unknown";
    }
}

void logPrivileges(const ProcessQuestions& questions) {
    const char* const integrity = integrityName(questions.integrityRid());
    const bool isUserAdmin = questions.isUserAdmin();
    const bool isRunningAsAdmin = questions.isRunningAsAdmin();
    const bool isProcessElevated = questions.isProcessElevated();
    processInfoLog().info("isUserAdmin=", isUserAdmin, " runAsAdmin=", isRunningAsAdmin,
                          " isElevatedProc=", isProcessElevated, " integrity=", integrity);
}

} // namespace

void LogProcessInfo() noexcept {
    LogProcessInfo({&IsUserAdmin, &IsRunningAsAdmin, &IsProcessElevated, &GetProcessIntegrityRid});
}

// Both texts keep their spelling: readers of the log search for it.
void LogProcessInfo(const ProcessQuestions& questions) noexcept {
    if (!logEnabled(LogLevel::Error)) {
        return;
    }
    try {
        logPrivileges(questions);
    } catch (std::uint32_t error) {
        processInfoLog().error("Failed to get information about user's priveleges. Error code=", error);
    } catch (...) {
        processInfoLog().error("Failed to get information about user's priveleges");
    }
}

} // namespace tovix
