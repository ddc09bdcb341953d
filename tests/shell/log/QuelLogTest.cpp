#include "support/BecomesTrue.h"
#include "support/ChildProcess.h"
#include "support/EnvironmentVariable.h"
#include "support/RegistryValue.h"

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <sstream>
#include <utility>
#include <vector>

namespace tovix::test {
namespace {

namespace fs = std::filesystem;

const std::string first = "line [Class::Method@Source:7] first\n";
const std::string second = "line [Class::Method@Source:7] second\n";

/// A process that logs, in a folder of its own, beside a logger library of a given behaviour.
class Writer {
public:
    /// `library` lies beside the program as "Logger64.dll"; none when empty.
    explicit Writer(const std::wstring& behaviour, const fs::path& library = "tovix-logger-double.dll") {
        fs::copy_file(programFolder() / "tovix-effect-side.exe", m_folder.path() / "writer.exe");
        if (!library.empty()) {
            fs::copy_file(programFolder() / library, libraryPath());
        }
        const EnvironmentVariable how(L"DOUBLE_LOGGER", behaviour);
        const EnvironmentVariable file(L"DOUBLE_LOGGER_FILE", recordPath().wstring());
        m_process.emplace(ChildProcess::Start{m_folder.path() / "writer.exe", L""});
    }

    std::string operator()(const std::string& command) { return m_process->ask(command); }

    [[nodiscard]] const fs::path& folder() const { return m_folder.path(); }

    /// Ends the process, which must end as it should, and returns what the library has recorded; of the heads of its
    /// lines the place alone.
    std::string end() {
        const std::string head = "INFO [" + (*this)("thread") + "] [this=0x0000000000000000] ";
        EXPECT_EQ(m_process->finish(), 0U);
        std::string text = record();
        for (auto at = text.find(head); at != std::string::npos; at = text.find(head)) {
            text.erase(at, head.size());
        }
        return text;
    }

    /// What the library has recorded so far.
    [[nodiscard]] std::string record() const { return contentOf(recordPath()); }

    [[nodiscard]] fs::path libraryPath() const { return m_folder.path() / "Logger64.dll"; }

private:
    [[nodiscard]] fs::path recordPath() const { return m_folder.path() / "record.txt"; }

    TemporaryFolder m_folder;
    std::optional<ChildProcess> m_process;
};

/// Commands with their replies.
using Steps = std::vector<std::pair<std::string, std::string>>;

TEST(QuelLog, LoadsItsLibraryOnceAndSurvivesWhateverThatDoes) {
    const std::string provide = "provide Volmora 4\n";
    const Steps useful{{"attach", "4"}, {"info first", "5"}, {"info second", "5"}, {"loaded", "yes"}};
    // Asked again at the next attaching only where it is still loaded, as after its own detaching; the level stays
    // down, and the last error is kept.
    const Steps useless{{"attach", "4"}, {"last-error", "1234"}, {"info", "0"}, {"attach", "0"}, {"info", "0"}};
    const std::string again = "line [Class::Method@Source:7] again\nend\n";
    const std::string asked = provide + "detach\ndetached 0\n";
    const struct {
        const wchar_t* behaviour;
        Steps steps;
        std::string record;
        fs::path library = "tovix-logger-double.dll";
    } cases[] = {
        {L"plain",
         {{"info before anything is attached", "0"},
          {"attach", "4"},
          {"loaded", "no"},
          {"last-error", "1234"},
          {"attach", "5"},
          {"info second", "5"}},
         provide + "line [Class::Method@Source:7] line\nend\n" + second + "end\nrelease\n"},
        {L"plain", {{"load beside", "ok"}, {"attach", "5"}}, provide + "release\n"},
        {L"absent", useless, "", ""},
        // One of the name that lies elsewhere and is loaded.
        {L"absent", {{"load elsewhere", "ok"}, {"attach", "4"}, {"info", "0"}, {"attach", "0"}}, "", ""},
        {L"without exports", useless, "", "tovix-audio-engine-double.dll"},
        {L"no library", useless, "", "tovix-effect-side.exe"},
        {L"null", useless, provide},
        {L"null", {{"attach", "4"}, {"load beside", "ok"}, {"attach", "0"}}, provide},
        {L"throw-provide", useless, provide},
        {L"detach-while-asked", useless, asked + asked},
        {L"throw", useful, provide + first + second + "release\n"},
        {L"platform-throw", useful, provide + first + second + "release\n"},
        {L"throw-level", {{"attach", "4"}, {"info first", "0"}}, provide + first + "end\nrelease\n"},
        {L"99", {{"attach", "4"}, {"info first", "99"}}, provide + first + "end\nrelease\n"},
        {L"-5", {{"attach", "4"}, {"info first", "-5"}, {"info", "-5"}}, provide + first + "end\nrelease\n"},
        {L"call-back",
         {{"attach", "4"}, {"info first", "5"}},
         provide + provide + again + again + first + again + "end\nrelease\n" + provide},
        {L"detach-inside", useful, provide + first + "detach\ndetached 0\nend\n"},
        // The return waits until the line of the other thread has come back.
        {L"detach-other", useful, provide + first + "detach\nend\ndetached 0\n"},
    };
    const RegistryValue level(L"MLS", 4);
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.behaviour << ", case " << &c - cases);
        Writer writer(c.behaviour, c.library);
        for (const auto& [command, reply] : c.steps) {
            const bool beside = command == "load beside";
            const fs::path library = beside ? writer.libraryPath() : programFolder() / "logger" / "Logger64.dll";
            EXPECT_EQ(writer(command.starts_with("load ") ? "load " + library.string() : command), reply) << command;
        }
        if (c.record.find("detached") != std::string::npos) {
            // Perhaps by another thread than the line's.
            EXPECT_TRUE(becomesTrue([&] { return writer.record().find("detached") != std::string::npos; }));
        }
        EXPECT_EQ(writer.end(), c.record);
    }
}

TEST(QuelLogSlow, ALineThatWaitsForItsOwnDetachComesBackAfterTheLimit) {
    const RegistryValue level(L"MLS", 4);
    Writer writer(L"detach-joined");
    writer("attach");
    const ULONGLONG startMs = ::GetTickCount64();
    EXPECT_EQ(writer("info first"), "5");
    EXPECT_LT(::GetTickCount64() - startMs, 8000U);
    EXPECT_EQ(writer.end(), "provide Volmora 4\n" + first + "detach\ndetached 0\nend\n");
}

TEST(QuelLog, ModuleReleasesItsLoggerWhenItIsUnloadedAndLeavesItAloneWhenTheProcessEnds) {
    const RegistryValue level(L"MLS", 4);
    const struct {
        const wchar_t* behaviour;
        const char* lifetime;
        const char* loadedAfter;
        const char* lastEvents;
    } cases[] = {{L"plain", "free", "no", "release\n"},
                 {L"plain", "keep", "yes", ""},
                 {L"detach-released", "free", "yes", "release\ndetach\ndetached 0\n"}};
    for (const auto& c : cases) {
        Writer writer(c.behaviour);
        std::wstring module = (writer.folder() / "module.dll").wstring();
        module.insert(module.size() - 4, MAX_PATH - 1 - module.size(), L'm'); // the longest path that is taken
        fs::copy_file(programFolder() / "tovix-effect-module.dll", module);
        EXPECT_EQ(writer(std::string("module ") + c.lifetime + " " + fs::path(module).string()), "ok");
        EXPECT_EQ(writer("loaded"), c.loadedAfter);
        EXPECT_EQ(writer.end(),
                  std::string("provide Volmora 4\nline [Module::Line@Module:1] from the module\nend\n") +
                      c.lastEvents);
    }
}

TEST(QuelLog, ThreadsWriteSideBySideAndAttachAtOnceForASecond) {
    const RegistryValue level(L"MLS", 4);
    Writer writer(L"slow");
    const int written = std::stoi(writer("storm 1000"));
    EXPECT_GT(written, 10);
    std::istringstream record(writer.end());
    std::map<std::string, int> events;
    std::string last;
    for (std::string event; std::getline(record, event); last = event) {
        ++events[event.ends_with(" storm") ? "storm" : event];
    }
    EXPECT_EQ(events["alone"], 0) << "the first line waits for a second one beside it";
    EXPECT_EQ(events["storm"], written);
    EXPECT_EQ(events["provide Volmora 4"], 1);
    EXPECT_EQ(last, "release");
}

} // namespace
} // namespace tovix::test
