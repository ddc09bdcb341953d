#include "module/ProcessInfo.h"
#include "support/ImportWatch.h"
#include "support/LogCapture.h"
#include "system/ProcessQueries.h"

#include <gtest/gtest.h>

#include <lm.h>

#include <cstdlib>
#include <stdexcept>

namespace tovix::test {
namespace {

/// The line that `questions` give, after its head.
std::string processLine(const ProcessQuestions& questions, LogLevel level = LogLevel::Info) {
    const LogCapture capture(level);
    LogProcessInfo(questions);
    if (LogCapture::lines().empty()) {
        return "";
    }
    const std::string line = LogCapture::lines().front();
    const std::string object = " [7] [this=0x0000000000000000] [LogProcessInfo@ClassFactory:";
    EXPECT_EQ(line.substr(line.find(' '), object.size()), object);
    return line.substr(0, line.find(' ')) + " " + line.substr(line.find("] ", line.find('@')) + 2);
}

constexpr bool (*yes)() = [] { return true; };
constexpr bool (*no)() = [] { return false; };

TEST(ProcessInfo, LineNamesThePrivilegesAndTheIntegrity) {
    const struct {
        std::uint32_t (*rid)();
        const char* name;
    } cases[] = {
        {[] { return 0U; }, "Untrusted"}, {[] { return 0x1000U; }, "Low"},    {[] { return 0x2000U; }, "Medium"},
        {[] { return 0x3000U; }, "High"}, {[] { return 0x4000U; }, "System"}, {[] { return 0x2100U; }, "Unknown"},
        {[] { return 0x1U; }, "Unknown"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(processLine({yes, no, no, c.rid}),
                  std::string("INFO isUserAdmin=1 runAsAdmin=0 isElevatedProc=0 integrity=") + c.name);
    }
    EXPECT_EQ(processLine({no, yes, yes, cases[0].rid}),
              "INFO isUserAdmin=0 runAsAdmin=1 isElevatedProc=1 integrity=Untrusted");
    EXPECT_EQ(processLine({yes, yes, yes, cases[0].rid}, LogLevel::Warning), "");
}

TEST(ProcessInfo, WhateverAQueryThrowsEndsInTheLog) {
    const auto rid = [] { return 0x2000U; };
    const ProcessQuestions code{yes, []() -> bool { throw std::uint32_t{0xFFFFFFFF}; }, yes, rid};
    EXPECT_EQ(processLine(code, LogLevel::Error),
              "ERROR Failed to get information about user's priveleges. Error code=4294967295");
    EXPECT_EQ(processLine(code, LogLevel::Fatal), "");
    const ProcessQuestions other{[]() -> bool { throw std::runtime_error("other"); }, yes, yes, rid};
    EXPECT_EQ(processLine(other), "ERROR Failed to get information about user's priveleges");
}

TEST(ProcessInfo, KnowsThisProcess) {
    const LogCapture capture(LogLevel::Info);
    LogProcessInfo();
    ASSERT_EQ(LogCapture::lines().size(), 1U);
    EXPECT_EQ(LogCapture::lines().front().find("Failed"), std::string::npos);
    TOKEN_ELEVATION elevation{};
    DWORD bytes = 0;
    ::GetTokenInformation(::GetCurrentProcessToken(), TokenElevation, &elevation, sizeof elevation, &bytes);
    EXPECT_EQ(IsProcessElevated(), elevation.TokenIsElevated != 0);
    const std::uint32_t rid = GetProcessIntegrityRid();
    EXPECT_TRUE(rid >= 0x1000 && rid <= 0x4000 && rid % 0x1000 == 0) << rid;
}

TEST(ProcessInfo, SystemIsOldOnlyWhereItSaysSo) {
    EXPECT_TRUE(IsVistaOrLater());
    ImportWatch imports(::GetModuleHandleW(nullptr));
    imports.redirect(
        "NetWkstaGetInfo", +[] { return NET_API_STATUS{NERR_WkstaNotStarted}; });
    EXPECT_TRUE(IsVistaOrLater());
    imports.redirect(
        "GetVersionExW", +[](OSVERSIONINFOW* pVersion) -> BOOL {
            pVersion->dwMajorVersion = 5;
            return pVersion->dwOSVersionInfoSize == sizeof *pVersion; // an old system knows the short record alone
        });
    EXPECT_FALSE(IsVistaOrLater());
}

TEST(ProcessInfo, TheErrorInTheLogIsThatOfTheCallThatFailed) {
    const LogCapture capture(LogLevel::Info);
    ImportWatch imports(::GetModuleHandleW(nullptr));
    imports.redirect(
        "OpenProcessToken", +[] { return ::SetLastError(ERROR_ACCESS_DENIED), FALSE; });
    // Memory whose allocation leaves another error behind.
    imports.redirect(
        "malloc", +[](std::size_t bytes) {
            ::SetLastError(ERROR_SXS_KEY_NOT_FOUND);
            return std::calloc(1, bytes);
        });
    LogProcessInfo();
    imports.redirect("malloc", nullptr);
    EXPECT_TRUE(LogCapture::lines().at(0).ends_with("Error code=" + std::to_string(ERROR_ACCESS_DENIED)));
}

} // namespace
} // namespace tovix::test
