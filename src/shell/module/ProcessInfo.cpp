#include "module/ProcessInfo.h"

#include "log/Log.h"
#include "system/ProcessQueries.h"

namespace tovix {
namespace {

constexpr const char* function = "LogProcessInfo";
constexpr const char* source = "ClassFactory";

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

void logAnswers(const ProcessQuestions& questions) {
    const char* const integrity = integrityName(questions.integrityRid());
    const bool isUserAdmin = questions.isUserAdmin();
    const bool isRunningAsAdmin = questions.isRunningAsAdmin();
    const bool isProcessElevated = questions.isProcessElevated();
    if (logEnabled(LogLevel::Info)) {
        LogLine(LogLevel::Info, {function, source}, nullptr)
            .text("isUserAdmin=")
            .result(isUserAdmin ? 1 : 0)
            .text(" runAsAdmin=")
            .result(isRunningAsAdmin ? 1 : 0)
            .text(" isElevatedProc=")
            .result(isProcessElevated ? 1 : 0)
            .text(" integrity=")
            .text(integrity)
            .write();
    }
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
        logAnswers(questions);
    } catch (std::uint32_t error) {
        if (logEnabled(LogLevel::Error)) {
            LogLine(LogLevel::Error, {function, source}, nullptr)
                .text("Failed to get information about user's priveleges. Error code=")
                .number(error)
                .write();
        }
    } catch (...) {
        if (logEnabled(LogLevel::Error)) {
            LogLine(LogLevel::Error, {function, source}, nullptr)
                .text("Failed to get information about user's priveleges")
                .write();
        }
    }
}

} // namespace tovix
