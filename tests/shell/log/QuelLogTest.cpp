#include "support/ChildProcess.h"
#include "support/EnvironmentVariable.h"
#include "support/RegistryValue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <sstream>

namespace tovix::test {
namespace {

namespace fs = std::filesystem;

constexpr const char* plainLine = "] [this=0x0000000000000000] [Class::Method@Source:7] ";

/// A process that logs, in a folder of its own, beside a logger library of a given behaviour.
class Writer {
public:
    /// `library` lies beside the program as "Logger64.dll"; none when empty.
    explicit Writer(const std::wstring& behaviour, const fs::path& library = "tovix-logger-double.dll",
                    const fs::path& workingFolder = fs::current_path()) {
        fs::copy_file(programFolder() / "tovix-effect-side.exe", m_folder.path() / "writer.exe");
        if (!library.empty()) {
            fs::copy_file(programFolder() / library, libraryPath());
        }
        const EnvironmentVariable how(L"DOUBLE_LOGGER", behaviour);
        const EnvironmentVariable record(L"DOUBLE_LOGGER_FILE", recordPath().wstring());
        m_process.emplace(ChildProcess::Start{m_folder.path() / "writer.exe", L"", workingFolder});
    }

    std::string operator()(const std::string& command) { return m_process->ask(command); }

    [[nodiscard]] const fs::path& folder() const { return m_folder.path(); }

    /// Ends the process, which must end as it should, and returns what the library has recorded.
    std::string end() {
        EXPECT_EQ(m_process->finish(), 0U);
        return contentOf(recordPath());
    }

    [[nodiscard]] fs::path libraryPath() const { return m_folder.path() / "Logger64.dll"; }

private:
    [[nodiscard]] fs::path recordPath() const { return m_folder.path() / "record.txt"; }

    TemporaryFolder m_folder;
    std::optional<ChildProcess> m_process;
};

TEST(QuelLog, FirstLineLoadsTheLibraryThatThenSetsTheLevel) {
    const RegistryValue level(L"MLS", 4);
    Writer writer(L"plain");
    EXPECT_EQ(writer("info before anything is attached"), "0");
    EXPECT_EQ(writer("attach"), "4");
    EXPECT_EQ(writer("loaded"), "no");
    EXPECT_EQ(writer("info first"), "5");
    EXPECT_EQ(writer("attach"), "5");
    EXPECT_EQ(writer("info second"), "5");
    const std::string line = "line INFO [" + writer("thread") + plainLine;
    EXPECT_EQ(writer.end(), "provide Volmora 4\n" + line + "first\nend\n" + line + "second\nend\nrelease\n");
}

TEST(QuelLog, LibraryThatIsLoadedAlreadyIsAttachedAtOnce) {
    const RegistryValue level(L"MLS", 1);
    Writer writer(L"plain");
    EXPECT_EQ(writer("load " + writer.libraryPath().string()), "ok");
    EXPECT_EQ(writer("attach"), "5");
    EXPECT_EQ(writer.end(), "provide Volmora 1\nrelease\n");
}

TEST(QuelLog, WithoutAUsableLibraryOneAttemptIsMadeAndNothingIsBuilt) {
    const RegistryValue level(L"MLS", 4);
    const struct {
        const char* description;
        const wchar_t* behaviour;
        const char* library;
        const char* record;
    } cases[] = {
        {"absent", L"", "", ""},
        {"no exports", L"", "tovix-audio-engine-double.dll", ""},
        {"no library at all", L"", "tovix-effect-side.exe", ""},
        {"refuses", L"null", "tovix-logger-double.dll", "provide Volmora 4\n"},
        {"throws", L"throw-provide", "tovix-logger-double.dll", "provide Volmora 4\n"},
        {"detaches while asked", L"detach-while-asked", "tovix-logger-double.dll",
         "provide Volmora 4\ndetach\ndetached 0\nprovide Volmora 4\ndetach\ndetached 0\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.description);
        Writer writer(c.behaviour, c.library);
        EXPECT_EQ(writer("attach"), "4");
        EXPECT_EQ(writer("info first"), "0");
        EXPECT_EQ(writer("info second"), "0");
        // Asked again only where it is still loaded, as after its own detaching; the level stays down.
        EXPECT_EQ(writer("attach"), "0");
        EXPECT_EQ(writer("info third"), "0");
        EXPECT_EQ(writer.end(), c.record);
    }
}

TEST(QuelLog, WhatTheLibraryThrowsReachesNobody) {
    const RegistryValue level(L"MLS", 4);
    for (const wchar_t* const behaviour : {L"throw", L"platform-throw"}) {
        Writer writer(behaviour);
        writer("attach");
        EXPECT_EQ(writer("info first"), "5");
        EXPECT_EQ(writer("info second"), "5");
        const std::string line = "line INFO [" + writer("thread") + plainLine;
        EXPECT_EQ(writer.end(), "provide Volmora 4\n" + line + "first\n" + line + "second\nrelease\n");
    }
}

TEST(QuelLog, ThreadsPassASlowLibrarySideBySide) {
    const RegistryValue level(L"MLS", 4);
    Writer writer(L"slow");
    writer("attach");
    writer("info load it");
    // Each line takes 1000 ms; the second starts 300 ms after the first.
    EXPECT_LT(std::stoi(writer("beside")), 1500);
    writer.end();
}

TEST(QuelLog, LibraryThatDetachesItselfGetsNoFurtherLineAndNoRelease) {
    const RegistryValue level(L"MLS", 4);
    const struct {
        const wchar_t* behaviour;
        const char* record;
    } cases[] = {
        {L"detach-inside", "detach\ndetached 0\nend\n"},
        // The return waits until the line of the other thread has come back.
        {L"detach-other", "detach\nend\ndetached 0\n"},
    };
    for (const auto& c : cases) {
        Writer writer(c.behaviour);
        writer("attach");
        EXPECT_EQ(writer("info first"), "5");
        ::Sleep(100);
        EXPECT_EQ(writer("info second"), "5");
        EXPECT_EQ(writer("loaded"), "yes");
        const std::string line = "line INFO [" + writer("thread") + plainLine;
        EXPECT_EQ(writer.end(), "provide Volmora 4\n" + line + "first\n" + c.record);
    }
}

TEST(QuelLogSlow, ALineThatWaitsForItsOwnDetachComesBackAfterTheLimit) {
    const RegistryValue level(L"MLS", 4);
    Writer writer(L"detach-joined");
    writer("attach");
    const ULONGLONG startMs = ::GetTickCount64();
    EXPECT_EQ(writer("info first"), "5");
    EXPECT_LT(::GetTickCount64() - startMs, 8000U);
    const std::string line = "line INFO [" + writer("thread") + plainLine;
    EXPECT_EQ(writer.end(), "provide Volmora 4\n" + line + "first\ndetach\ndetached 0\nend\n");
}

TEST(QuelLog, ALibraryOfTheNameElsewhereIsNeverLoaded) {
    const RegistryValue level(L"MLS", 4);
    const TemporaryFolder current;
    const TemporaryFolder onPath;
    for (const auto* const pFolder : {&current, &onPath}) {
        fs::copy_file(programFolder() / "tovix-logger-double.dll", pFolder->path() / "Logger64.dll");
    }
    const EnvironmentVariable searchPath(L"PATH", onPath.path().wstring());
    Writer writer(L"plain", "", current.path());
    writer("attach");
    EXPECT_EQ(writer("info first"), "0");
    EXPECT_EQ(writer("loaded"), "no");
    EXPECT_EQ(writer("load " + (current.path() / "Logger64.dll").string()), "ok");
    EXPECT_EQ(writer("attach"), "0");
    EXPECT_EQ(writer.end(), "");
}

TEST(QuelLog, LoggingKeepsTheLastError) {
    const RegistryValue level(L"MLS", 4);
    for (const char* const library : {"", "tovix-logger-double.dll"}) {
        Writer writer(L"plain", library);
        writer("attach");
        EXPECT_EQ(writer("last-error"), "1234");
    }
}

TEST(QuelLog, ModuleReleasesItsLoggerWhenItIsUnloadedAndLeavesItAloneWhenTheProcessEnds) {
    const RegistryValue level(L"MLS", 4);
    const struct {
        const char* lifetime;
        const char* loadedAfter;
        const char* lastEvent;
    } cases[] = {{"free", "no", "release\n"}, {"keep", "yes", ""}};
    for (const auto& c : cases) {
        Writer writer(L"plain");
        const fs::path module = writer.folder() / "module.dll";
        fs::copy_file(programFolder() / "tovix-effect-module.dll", module);
        EXPECT_EQ(writer(std::string("module ") + c.lifetime + " " + module.string()), "ok");
        EXPECT_EQ(writer("loaded"), c.loadedAfter);
        const std::string line = "line INFO [" + writer("thread") +
                                 "] [this=0x0000000000000000] [Module::Line@Module:1] from the module\nend\n";
        EXPECT_EQ(writer.end(), "provide Volmora 4\n" + line + c.lastEvent);
    }
}

TEST(QuelLog, ThreadsWriteAndAttachAtOnceForASecond) {
    const RegistryValue level(L"MLS", 4);
    Writer writer(L"plain");
    const int written = std::stoi(writer("storm 1000"));
    EXPECT_GT(written, 10);
    std::istringstream record(writer.end());
    int lines = 0;
    int provided = 0;
    std::string last;
    for (std::string event; std::getline(record, event); last = event) {
        lines += event.substr(event.size() - std::min<std::size_t>(event.size(), 6)) == " storm" ? 1 : 0;
        provided += event == "provide Volmora 4" ? 1 : 0;
    }
    EXPECT_EQ(lines, written);
    EXPECT_EQ(provided, 1);
    EXPECT_EQ(last, "release");
}

} // namespace
} // namespace tovix::test
