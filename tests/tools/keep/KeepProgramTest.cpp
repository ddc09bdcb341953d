// Settings that stay, as a sequence of processes: `keep`, commands, effects, the end of a day and the next one.

#include "exchange/ConfigHelper.h"
#include "host/SystemQueries.h"
#include "support/BecomesTrue.h"
#include "support/ModuleUnderTest.h"
#include "support/SettingsWriter.h"
#include "tools/control/ControlSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <optional>

namespace tovix::test {
namespace {

/// A text value of the current user's, for the object's life; afterwards there is what was there before.
class UserValue {
public:
    UserValue(const wchar_t* key, std::wstring name) : m_name(std::move(name)) {
        HKEY hKey = nullptr;
        ::RegCreateKeyExW(HKEY_CURRENT_USER, key, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &hKey, nullptr);
        m_key.reset(hKey);
        m_before = text();
    }
    ~UserValue() { m_before ? set(*m_before, m_type) : remove(); }

    [[nodiscard]] std::optional<std::wstring> text() {
        std::wstring text(1000, L'\0');
        auto sizeBytes = static_cast<DWORD>(text.size() * sizeof(wchar_t));
        if (::RegQueryValueExW(m_key.get(), m_name.c_str(), nullptr, &m_type, reinterpret_cast<BYTE*>(text.data()),
                               &sizeBytes) != ERROR_SUCCESS) {
            return std::nullopt;
        }
        return text.c_str();
    }
    void set(const std::wstring& text, DWORD type = REG_SZ) {
        ::RegSetValueExW(m_key.get(), m_name.c_str(), 0, type, reinterpret_cast<const BYTE*>(text.c_str()),
                         static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
    }
    void remove() { ::RegDeleteValueW(m_key.get(), m_name.c_str()); }

private:
    std::wstring m_name;
    RegistryKey m_key;
    DWORD m_type = REG_SZ;
    std::optional<std::wstring> m_before;
};

/// A user without files, whose session ends with the object.
class KeepProgram : public testing::Test {
protected:
    KeepProgram() { sendFilesTo(m_folder.path()); }
    ~KeepProgram() override { control(L"keep --stop"); }

    void sendFilesTo(const std::filesystem::path& folder) { m_appData.set(folder.wstring()); }
    [[nodiscard]] std::filesystem::path files() const { return m_folder.path() / "Tovix"; }
    [[nodiscard]] std::string last() const { return contentOf(files() / "last.txt"); }
    [[nodiscard]] bool lastBecomes(const std::string& text) const {
        return becomesTrue([&] { return last() == text; });
    }
    void putFile(const std::filesystem::path& name, const std::string& bytes) const {
        std::filesystem::create_directories((files() / name).parent_path());
        std::ofstream(files() / name, std::ios::binary) << bytes;
    }

private:
    TemporaryFolder m_folder;
    UserValue m_appData{L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\User Shell Folders", L"AppData"};
};

bool isPageThere() {
    return KernelHandle(::OpenFileMappingW(FILE_MAP_READ, FALSE, pageName)) != nullptr;
}

/// The effect's library with a stream, as the audio service has it.
class Sound {
public:
    Sound() {
        EXPECT_EQ(m_effect.initialize(), S_OK);
        EXPECT_EQ(m_effect.lock(floatFormat(2), floatFormat(2), framesPerBlock), S_OK);
    }

    /// How many times as loud the next block ends as it comes.
    [[nodiscard]] float gain() {
        const std::vector<float> input(std::size_t{framesPerBlock} * 2, level);
        return m_effect.process(input, 2, 2).back() / level;
    }

private:
    static constexpr UINT32 framesPerBlock = 480;
    static constexpr float level = 0.1F;

    ModuleUnderTest m_module;
    Effect m_effect{m_module.create()};
};

TEST_F(KeepProgram, TheFirstSoundAfterARestartHasTheSettingsOfYesterday) {
    const float yesterdaysGain = std::pow(10.0F, 6.0F / 20.0F);
    const auto isYesterdays = [&](float gain) { return std::fabs(gain - yesterdaysGain) < 0.001F; };
    ASSERT_EQ(control(L"keep").exitStatus, 0U);
    ASSERT_EQ(control(L"boost 6 --limit").exitStatus, 0U);
    ASSERT_TRUE(lastBecomes("Boost: 60 dB 1\n"));
    ASSERT_EQ(control(L"keep --stop").exitStatus, 0U);
    const struct {
        const char* what;
        std::function<void()> begin;
    } days[] = {
        {"keep comes first",
         [&] {
             ASSERT_EQ(control(L"keep").exitStatus, 0U);
             Sound sound;
             EXPECT_TRUE(isYesterdays(sound.gain())) << "the very first block";
         }},
        {"an effect comes first and makes the page",
         [&] {
             Sound sound;
             EXPECT_FLOAT_EQ(sound.gain(), 1.0F);
             ASSERT_EQ(control(L"keep").exitStatus, 0U);
             EXPECT_TRUE(becomesTrue([&] { return isYesterdays(sound.gain()); }));
         }},
        {"an effect comes first and waits for the page",
         [&] {
             KernelHandle inTheWay = occupyPageName();
             Sound sound;
             inTheWay.reset();
             ASSERT_EQ(control(L"keep").exitStatus, 0U);
             EXPECT_TRUE(becomesTrue([&] { return isYesterdays(sound.gain()); }));
         }},
        {"keep waits for the page that an effect makes",
         [&] {
             KernelHandle inTheWay = occupyPageName();
             const auto waiting = control(L"keep --json").output;
             EXPECT_NE(waiting.find(R"("state":"waits")"), std::string::npos) << waiting;
             inTheWay.reset();
             Sound sound;
             EXPECT_TRUE(becomesTrue([&] { return isYesterdays(sound.gain()); }));
         }},
    };
    for (const auto& day : days) {
        ASSERT_FALSE(isPageThere()) << "before " << day.what;
        SCOPED_TRACE(day.what);
        day.begin();
        EXPECT_EQ(pageText(), "Boost: 60 dB 1");
        EXPECT_EQ(control(L"keep --stop").exitStatus, 0U);
        EXPECT_EQ(last(), "Boost: 60 dB 1\n");
    }
}

TEST_F(KeepProgram, WritesDownWhatAnybodyPutsIntoThePageWithoutListeningForIt) {
    SettingsWriter somebody("Boost: 10 dB 0");
    putFile("last.txt", "Boost: 20 dB 0\n");
    ASSERT_EQ(control(L"keep").exitStatus, 0U);
    EXPECT_TRUE(lastBecomes("Boost: 10 dB 0\n")) << "what is set in this session is newer than the file";
    EXPECT_EQ(somebody.text(), "Boost: 10 dB 0");
    const KernelHandle event(::OpenEventW(EVENT_ALL_ACCESS, FALSE, CONFIG_DATA_UPDATE_EVENT));
    EXPECT_EQ(otherHandles(event.get(), 2), 0U) << "a command would signal for it and wait in vain";
    somebody.write("Boost: 30 dB 0");
    EXPECT_TRUE(lastBecomes("Boost: 30 dB 0\n"));
    somebody.write("Boost: 40 dB 0");
    EXPECT_EQ(control(L"keep --stop").exitStatus, 0U);
    EXPECT_EQ(last(), "Boost: 40 dB 0\n") << "at the end too";
}

TEST_F(KeepProgram, RunsOnceInASessionAndIsGoneWhenStopReturns) {
    const auto stateAfter = [](const wchar_t* arguments, const char* state) {
        const auto outcome = control(arguments);
        return outcome.exitStatus == 0 && outcome.output.find(state) != std::string::npos;
    };
    EXPECT_TRUE(stateAfter(L"keep --stop --json", R"("off")"));
    EXPECT_TRUE(stateAfter(L"keep --json", R"("holds")"));
    EXPECT_TRUE(stateAfter(L"keep --json", R"("runsAlready")"));
    EXPECT_TRUE(stateAfter(L"status --json", R"("kept":true)"));
    EXPECT_TRUE(stateAfter(L"keep --stop --json", R"("stopped")"));
    EXPECT_FALSE(isPageThere());
    EXPECT_TRUE(stateAfter(L"status --json", R"("kept":false)"));
}

TEST_F(KeepProgram, ALastFileThatBreaksARuleIsKeptAside) {
    putFile("last-refused-1.txt", "an older one");
    putFile("last.txt", "Boost: 999 dB 0\n");
    ASSERT_EQ(control(L"keep").exitStatus, 0U);
    EXPECT_EQ(pageText(), "");
    control(L"boost 1");
    EXPECT_TRUE(lastBecomes("Boost: 10 dB 0\n"));
    EXPECT_EQ(contentOf(files() / "last-refused-1.txt"), "an older one");
    EXPECT_EQ(contentOf(files() / "last-refused-2.txt"), "Boost: 999 dB 0\n");
    EXPECT_NE(control(L"status").output.find("last-refused-2.txt"), std::string::npos);
}

TEST_F(KeepProgram, ProfilesAreSavedFromThePageAndLoadedAsAChange) {
    EXPECT_EQ(control(L"profile save day").exitStatus, 4U) << "there is no page";
    const ApoConfigManager effect;
    control(L"boost 6 --limit");
    EXPECT_EQ(control(L"profile save \u0434\u0435\u043d\u044c").exitStatus, 0U);
    control(L"boost off");
    ::WaitForSingleObject(effect.updateEvent(), 0);
    EXPECT_EQ(control(L"profile load \u0414\u0415\u041d\u042c").exitStatus, 0U) << "letters of another alphabet";
    EXPECT_EQ(pageText(), "Boost: 60 dB 1");
    EXPECT_EQ(::WaitForSingleObject(effect.updateEvent(), 0), WAIT_OBJECT_0);
    putFile("profiles/broken.txt", "Boost: 60 dB 1\r\nBost: 1");
    const auto list = control(L"profile list").output;
    EXPECT_LT(list.find("broken: refused: "), list.find("boost of 6.0 dB with a limiter")) << list;
    const struct {
        const wchar_t* arguments;
        DWORD exitStatus;
    } cases[] = {{L"profile load broken", 3}, {L"profile save \u0414\u0435\u043d\u044c", 3},
                 {L"profile show nul", 3},    {L"profile show no", 7},
                 {L"profile delete no", 7},   {L"profile", 2},
                 {L"profile list --hold", 2}, {L"profile delete broken", 0}};
    for (const auto& c : cases) {
        EXPECT_EQ(control(c.arguments).exitStatus, c.exitStatus) << std::filesystem::path(c.arguments).string();
    }
    EXPECT_EQ(pageText(), "Boost: 60 dB 1");
}

TEST_F(KeepProgram, AFolderThatTakesNoFilesIsSaidAndLeavesThePageAlone) {
    SettingsWriter somebody("Boost: 10 dB 0");
    putFile("not a folder", "");
    sendFilesTo(files() / "not a folder");
    EXPECT_EQ(control(L"profile save day").exitStatus, 8U);
    EXPECT_EQ(control(L"keep").exitStatus, 0U) << "the settings are held all the same";
    EXPECT_EQ(control(L"keep --stop").exitStatus, 0U);
    EXPECT_EQ(somebody.text(), "Boost: 10 dB 0");
}

TEST_F(KeepProgram, AutostartIsForThisUserAndTouchesNobodyElsesEntry) {
    UserValue entry(L"Software\\Microsoft\\Windows\\CurrentVersion\\Run", L"Tovix");
    const std::wstring ours = L"\"" + (programFolder() / "tovixctl.exe").wstring() + L"\" keep";
    for (const auto* const before : {L"", L"\"D:\\old\\tovixctl.exe\" keep"}) {
        *before != L'\0' ? entry.set(before) : entry.remove();
        EXPECT_EQ(control(L"autostart on").exitStatus, 0U);
        EXPECT_EQ(entry.text(), ours);
        EXPECT_NE(control(L"status --json").output.find(R"("kept":true,"refusedFiles":[],"autostart":{"state":"on")"),
                  std::string::npos);
        EXPECT_EQ(control(L"autostart off").exitStatus, 0U);
        EXPECT_EQ(entry.text(), std::nullopt);
    }
    for (const auto type : {DWORD{REG_SZ}, DWORD{REG_EXPAND_SZ}}) {
        entry.set(L"\"C:\\Tovix\\tray.exe\"", type);
        EXPECT_EQ(control(L"autostart on").exitStatus, 9U);
        EXPECT_EQ(control(L"autostart off").exitStatus, 0U);
        EXPECT_EQ(entry.text(), L"\"C:\\Tovix\\tray.exe\"");
    }
}

} // namespace
} // namespace tovix::test
