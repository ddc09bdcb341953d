// The development logger's library, loaded as the effect loads it.

#include "support/BecomesTrue.h"
#include "support/ChildProcess.h"
#include "support/EnvironmentVariable.h"
#include "support/ImportWatch.h"
#include "system/WinHandles.h"

#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <sstream>
#include <string>

namespace tovix::test {
namespace {

namespace fs = std::filesystem;

fs::path library() {
    return programFolder() / "logger" / "Logger64.dll";
}

/// 0 while there is no such file, as for a moment when it is moved aside.
std::uintmax_t sizeOf(const fs::path& file) {
    std::error_code error;
    const auto size = fs::file_size(file, error);
    return error ? 0 : size;
}

/// The library in use, called as another compiler's code calls it: exports by name, slots by number.
class Library {
public:
    explicit Library(std::int32_t offeredLevel) : m_module(::LoadLibraryW(library().c_str())) {
        m_pLogger = moduleExport<void*(const wchar_t*, std::int32_t, void*)>(m_module.get(), "ProvideLogger")(
            L"Volmora", offeredLevel, nullptr);
    }
    ~Library() {
        if (m_pLogger != nullptr) {
            moduleExport<void(void*, void*)>(m_module.get(), "ReleaseLogger")(m_pLogger, nullptr);
        }
    }

    void write(const char* line) { slot<void(void*, const char*)>(1)(m_pLogger, line); }
    /// -1 where the library refuses to log.
    std::int32_t level() { return m_pLogger != nullptr ? slot<std::int32_t(void*)>(3)(m_pLogger) : -1; }

private:
    template <class F> F* slot(std::size_t index) {
        return reinterpret_cast<F*>((*static_cast<void***>(m_pLogger))[index]);
    }

    ModuleReference m_module;
    void* m_pLogger = nullptr;
};

/// A folder for the log file, and another one that the library takes for the machine's program data.
class LoggerLibrary : public testing::Test {
protected:
    [[nodiscard]] fs::path file() const { return m_folder.path() / "effect.log"; }
    [[nodiscard]] fs::path fallback() const { return m_folder.path() / "Tovix" / "Tovix.log"; }

    /// The process and the text of each line of a file. They have their time before them, but for notes of losses.
    static std::vector<std::pair<std::string, std::string>> linesOf(const fs::path& file) {
        static const std::regex shape("\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}Z (\\d+) (.*)\r"
                                      "|(\\(\\d+ lines were lost here\\))\r");
        std::vector<std::pair<std::string, std::string>> lines;
        std::istringstream text(contentOf(file));
        std::smatch match;
        for (std::string line; std::getline(text, line);) {
            EXPECT_TRUE(std::regex_match(line, match, shape)) << line;
            lines.emplace_back(match[1], match[2].str() + match[3].str());
        }
        return lines;
    }

    TemporaryFolder m_folder;
    EnvironmentVariable m_file{L"TOVIX_LOG_FILE", file().wstring()};
    EnvironmentVariable m_level{L"TOVIX_LOG_LEVEL", L""};
    EnvironmentVariable m_programData{L"ProgramData", m_folder.path().wstring()};
};

TEST_F(LoggerLibrary, ReleasingTheLoggerLeavesAllLinesInTheFileInOrder) {
    {
        Library logger(4);
        for (int i = 0; i < 500; ++i) {
            logger.write(("INFO [1] line " + std::to_string(i)).c_str());
        }
        logger.write("two\nlines\tand \x1B[31mcolour");
        logger.write("");
        logger.write(nullptr);
        logger.write(std::string(5000, 'x').c_str());
    }
    const auto lines = linesOf(file());
    ASSERT_EQ(lines.size(), 504U);
    const std::string& head = lines.front().second;
    EXPECT_TRUE(head.starts_with("---- Volmora in ") && head.ends_with(", level 4")) << head;
    for (std::size_t i = 0; i < 500; ++i) {
        ASSERT_EQ(lines[i + 1].second, "INFO [1] line " + std::to_string(i));
    }
    EXPECT_EQ(lines[501].second, "two lines and  [31mcolour");
    EXPECT_EQ(lines[502].second, "");
    EXPECT_EQ(lines[503], std::pair(std::to_string(::GetCurrentProcessId()), std::string(1024, 'x')));
}

TEST_F(LoggerLibrary, TheVariableDecidesAboutTheLevelAndElseTheOffer) {
    const struct {
        const wchar_t* variable;
        std::int32_t offered;
        std::int32_t level;
    } cases[] = {{L"", 3, 3},   {L"", 9, 5},  {L"", 0, -1},    {L"", -1, -1}, {L"5", 3, 5},
                 {L"0", 3, -1}, {L"6", 3, 3}, {L"loud", 2, 2}, {L"44", 2, 2}};
    for (const auto& c : cases) {
        const EnvironmentVariable variable(L"TOVIX_LOG_LEVEL", c.variable);
        EXPECT_EQ(Library(c.offered).level(), c.level);
    }
}

TEST_F(LoggerLibrary, AFullFileIsMovedAsideAndNeitherGrowsPastItsLimit) {
    constexpr std::uintmax_t limit = 1024 * 1024;
    const fs::path older = file().wstring() + L".1";
    {
        Library logger(3);
        for (int round = 0; round < 2000 && !(fs::exists(older) && sizeOf(file()) > limit / 2); ++round) {
            for (int i = 0; i < 50; ++i) {
                logger.write(std::string(600, 'y').c_str());
            }
            ::Sleep(2);
        }
    }
    ASSERT_TRUE(fs::exists(older));
    for (const auto& path : {file(), older}) {
        EXPECT_LE(sizeOf(path), limit);
        EXPECT_GT(sizeOf(path), limit / 2);
        EXPECT_FALSE(linesOf(path).empty());
    }
}

TEST_F(LoggerLibrary, TwoProcessesShareAFileAndLeaveWholeLinesThoughTheyEndWithoutReleasing) {
    const auto program = m_folder.path() / "tovix-logging-process.exe";
    fs::copy_file(programFolder() / "tovix-logging-process.exe", program);
    fs::copy_file(library(), m_folder.path() / "Logger64.dll");
    // What fits into one process's queue, so that none is dropped there.
    constexpr int count = 500;
    ChildProcess first({program, std::to_wstring(count)});
    ChildProcess second({program, std::to_wstring(count)});
    EXPECT_EQ(first.finish(), 0U);
    EXPECT_EQ(second.finish(), 0U);
    std::set<std::pair<std::string, std::string>> seen;
    for (const auto& line : linesOf(file())) {
        if (!line.second.starts_with("---- Volmora in ")) {
            ASSERT_TRUE(line.second.starts_with("ERROR [") && line.second.ends_with(" end")) << line.second;
            EXPECT_TRUE(seen.insert(line).second) << "twice: " << line.second;
        }
    }
    // Except what a thread was writing when the system ended it.
    EXPECT_GT(seen.size(), std::size_t{count});
}

TEST_F(LoggerLibrary, WhereTheFileCannotBeWrittenLinesGoToTheFallbackOrNowhere) {
    const std::wstring bad[] = {m_folder.path().wstring(), (m_folder.path() / "none" / "x.log").wstring(),
                                L"Z:\\dev\\full", L"<>|\"?*"};
    for (const auto& path : bad) {
        fs::remove(fallback());
        const EnvironmentVariable variable(L"TOVIX_LOG_FILE", path);
        { Library(3).write("hello"); }
        EXPECT_NE(contentOf(fallback()).find("hello"), std::string::npos) << fs::path(path);
        const EnvironmentVariable programData(L"ProgramData", path);
        const EnvironmentVariable temporary(L"TMP", path);
        const EnvironmentVariable temporaryToo(L"TEMP", path);
        Library(3).write("dropped");
    }
}

TEST_F(LoggerLibrary, AFileThatAnotherProgramLocksKeepsNoCallerWaiting) {
    int slowCalls = 0;
    KernelHandle locked(
        ::CreateFileW(file().c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS, 0, nullptr));
    ASSERT_NE(locked.get(), INVALID_HANDLE_VALUE);
    {
        Library logger(3);
        for (int i = 0; i < 20000; ++i) {
            const ULONGLONG before = ::GetTickCount64();
            logger.write(std::string(200, 'z').c_str());
            slowCalls += ::GetTickCount64() - before >= 90 ? 1 : 0;
        }
        ::Sleep(400);
        locked.reset();
        logger.write("unlocked");
    }
    // The writer tries such a file for 100 ms before it takes another one; a busy machine may hold up a call or two.
    EXPECT_LE(slowCalls, 3);
    EXPECT_NE(contentOf(fallback()).find("zzz\r\n"), std::string::npos);
    EXPECT_NE(contentOf(fallback()).find(" lines were lost here)"), std::string::npos) << "4 MB exceed the queue";
    EXPECT_NE(contentOf(file()).find("unlocked"), std::string::npos);
}

TEST_F(LoggerLibrary, TheModuleIsUnloadedOnceReleased) {
    for (int i = 0; i < 20; ++i) {
        Library(3).write("round");
    }
    EXPECT_TRUE(becomesTrue([] { return ::GetModuleHandleW(library().c_str()) == nullptr; }));
}

/// What the system says of a junction or a symbolic link that is opened as itself. Wine has neither, so one path is
/// declared to be one. Or it leads to `target`, as in a folder that has become a junction just before.
struct DeclaredLink {
    static inline std::wstring path;
    static inline std::wstring target;
    static inline HANDLE hOpened = nullptr;

    static HANDLE WINAPI createFile(const wchar_t* opened, DWORD access, DWORD share, SECURITY_ATTRIBUTES* sa,
                                    DWORD disposition, DWORD flags, HANDLE hTemplate) {
        if (path == opened && !target.empty()) {
            opened = target.c_str();
        }
        const HANDLE hFile = ::CreateFileW(opened, access, share, sa, disposition, flags, hTemplate);
        const bool isLink = path == opened && (flags & FILE_FLAG_OPEN_REPARSE_POINT) != 0;
        hOpened = isLink ? hFile : hOpened == hFile ? nullptr : hOpened;
        return hFile;
    }
    static BOOL WINAPI getInformation(HANDLE hFile, BY_HANDLE_FILE_INFORMATION* pInformation) {
        const BOOL known = ::GetFileInformationByHandle(hFile, pInformation);
        pInformation->dwFileAttributes |= hFile == hOpened ? FILE_ATTRIBUTE_REPARSE_POINT : 0;
        return known;
    }
};

// The last one: the module stays loaded, because nobody can tell when its thread has left it and with it the watch.
TEST_F(LoggerLibrary, AFileOrFolderThatIsALinkIsNotFollowed) {
    HMODULE hModule = ::LoadLibraryW(library().c_str());
    auto* const pWatch = new ImportWatch(hModule);
    pWatch->redirect("CreateFileW", reinterpret_cast<const void*>(&DeclaredLink::createFile));
    pWatch->redirect("GetFileInformationByHandle", reinterpret_cast<const void*>(&DeclaredLink::getInformation));
    const fs::path planted = m_folder.path() / "other" / "planted";
    fs::create_directory(planted.parent_path());
    std::ofstream(planted).close();
    const std::pair<fs::path, fs::path> links[] = {
        {file(), ""}, {file().parent_path(), ""}, {file(), planted}, {"a hard link", ""}};
    for (const auto& [link, target] : links) {
        DeclaredLink::path = link.wstring();
        DeclaredLink::target = target.wstring();
        if (link == "a hard link") {
            fs::remove(file());
            fs::create_hard_link(planted, file());
        }
        { Library(3).write("hello"); }
        EXPECT_EQ(contentOf(file()) + contentOf(planted), "") << "followed: " << link << " to " << target;
        EXPECT_NE(contentOf(fallback()).find("hello"), std::string::npos) << link;
        fs::remove(fallback());
    }
}

} // namespace
} // namespace tovix::test
