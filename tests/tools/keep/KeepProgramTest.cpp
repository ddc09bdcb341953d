// Settings that stay, as a sequence of processes: `keep`, commands, effects, the end of a day and the next one.

#include "exchange/ConfigHelper.h"
#include "host/SystemQueries.h"
#include "install/RegistryTree.h"
#include "support/BecomesTrue.h"
#include "support/ModuleUnderTest.h"
#include "support/SettingsWriter.h"
#include "tools/control/ControlSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <optional>

namespace tovix::test {
namespace {

using install::RegistryData;
using install::textData;

/// A value of the current user's; after the object there is what was there before.
class UserValue {
public:
    UserValue(std::wstring key, std::wstring name) : m_key(std::move(key)), m_name(std::move(name)) {}
    ~UserValue() { set(m_before); }

    [[nodiscard]] std::optional<RegistryData> data() const { return m_user.read(m_key, m_name); }
    void set(const std::optional<RegistryData>& data) {
        data ? m_user.write(m_key, m_name, *data) : m_user.remove(m_key, m_name);
    }

private:
    install::RegistryTree m_user{HKEY_CURRENT_USER, L"Software\\Microsoft\\Windows\\CurrentVersion"};
    std::wstring m_key;
    std::wstring m_name;
    std::optional<RegistryData> m_before = data();
};

/// A user without files, whose session ends with the object.
class KeepProgram : public testing::Test {
protected:
    KeepProgram() { sendFilesTo(m_folder.path()); }
    ~KeepProgram() override { control(L"keep --stop"); }

    void sendFilesTo(const std::filesystem::path& folder) { m_appData.set(textData(folder.wstring())); }
    [[nodiscard]] std::filesystem::path files() const { return m_folder.path() / "Tovix"; }
    [[nodiscard]] std::string last() const { return contentOf(files() / "last.txt"); }
    [[nodiscard]] bool lastBecomes(const std::string& text) const {
        return becomesTrue([&] { return last() == text; });
    }
    void putFile(const std::filesystem::path& name, const std::string& bytes) const {
        std::filesystem::create_directories((files() / name).parent_path());
        putContent(files() / name, bytes);
    }

private:
    TemporaryFolder m_folder;
    UserValue m_appData{L"Explorer\\User Shell Folders", L"AppData"};
};

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
    for (const auto& [isNameTaken, isEffectFirst] :
         {std::pair(false, false), {false, true}, {true, false}, {true, true}}) {
        SCOPED_TRACE(testing::Message() << "name taken " << isNameTaken << ", effect first " << isEffectFirst);
        ASSERT_FALSE(KernelHandle(::OpenFileMappingW(FILE_MAP_READ, FALSE, pageName))) << "nobody holds it";
        KernelHandle inTheWay = isNameTaken ? occupyPageName() : nullptr;
        std::optional<Sound> sound;
        if (isEffectFirst) {
            sound.emplace();
            EXPECT_FLOAT_EQ(sound->gain(), 1.0F);
            inTheWay.reset();
        }
        const auto kept = control(L"keep --json");
        ASSERT_EQ(kept.exitStatus, 0U);
        EXPECT_EQ(kept.output.find(R"("state":"waits")") != std::string::npos, isNameTaken && !isEffectFirst);
        inTheWay.reset();
        if (!isEffectFirst) {
            sound.emplace();
        }
        EXPECT_TRUE(isNameTaken || isEffectFirst || isYesterdays(sound->gain())) << "the very first block";
        EXPECT_TRUE(becomesTrue([&] { return isYesterdays(sound->gain()); }));
        sound.reset();
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
    const std::pair<const wchar_t*, const char*> steps[] = {
        {L"keep --stop --json", R"("off")"},     {L"keep --json", R"("holds")"},
        {L"keep --json", R"("runsAlready")"},    {L"status --json", R"("kept":true)"},
        {L"keep --stop --json", R"("stopped")"}, {L"status --json", R"("kept":false)"}};
    for (const auto& [arguments, state] : steps) {
        const auto outcome = control(arguments);
        EXPECT_EQ(outcome.exitStatus, 0U) << state;
        EXPECT_NE(outcome.output.find(state), std::string::npos) << outcome.output;
    }
}

TEST_F(KeepProgram, ALastFileThatBreaksARuleIsKeptAside) {
    putFile("last-refused-1.txt", "an older one");
    putFile("last.txt", "Boost: 999 dB 0\n");
    ASSERT_EQ(control(L"keep").exitStatus, 0U);
    EXPECT_EQ(pageText(), "");
    EXPECT_EQ(control(L"boost 1").exitStatus, 0U);
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
    expectExitStatuses({{3, {L"profile load broken", L"profile save \u0414\u0435\u043d\u044c", L"profile show nul"}},
                        {7, {L"profile show no", L"profile delete no"}},
                        {2, {L"profile", L"profile list --hold"}},
                        {0, {L"profile delete broken"}}});
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
    UserValue entry(L"Run", L"Tovix");
    for (const auto& before :
         {std::optional<RegistryData>(), std::optional(textData(L"\"D:\\old 1.0\\TovixCtl.exe\" keep"))}) {
        entry.set(before);
        EXPECT_EQ(control(L"autostart on").exitStatus, 0U);
        EXPECT_EQ(entry.data(), textData(L"\"" + (programFolder() / "tovixctl.exe").wstring() + L"\" keep"));
        EXPECT_NE(control(L"status --json").output.find(R"("kept":true,"refusedFiles":[],"autostart":{"state":"on")"),
                  std::string::npos);
        EXPECT_EQ(control(L"autostart off").exitStatus, 0U);
        EXPECT_EQ(entry.data(), std::nullopt);
    }
    const RegistryData foreign = textData(L"\"C:\\Tovix\\tray.exe\"");
    for (const auto& before :
         {foreign, RegistryData{.type = REG_EXPAND_SZ, .bytes = foreign.bytes}, textData(L""),
          textData(L"D:\\tovixctl.exe keep"), textData(L"\"D:\\tovixctl.exe\" keep --foreground"),
          textData(L"\"D:\\other.exe\" \"D:\\tovixctl.exe\" keep")}) {
        entry.set(before);
        EXPECT_EQ(control(L"autostart on").exitStatus, 9U);
        EXPECT_EQ(control(L"autostart off").exitStatus, 0U);
        EXPECT_EQ(entry.data(), before);
    }
}

} // namespace
} // namespace tovix::test
