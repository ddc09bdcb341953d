// tovixctl as a process, beside effects that hold the settings page.

#include "exchange/ConfigHelper.h"
#include "support/RegistryValue.h"
#include "support/SharedDescriptor.h"
#include "system/RegistrySettings.h"
#include "tools/control/ControlSupport.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>

namespace tovix::test {
namespace {

TEST(ControlProgram, EachChangeReachesARunningEffectAndItsEvent) {
    const ApoConfigManager effect;
    const TemporaryFolder folder;
    const auto file = folder.path() / L"kurve \u0436.txt";
    putContent(file, "GraphicEQ: 20 -3.1; 25 -2.9\n");
    const struct {
        std::wstring arguments;
        const char* text;
    } steps[] = {
        {L"boost 6.0 --clean", "Maximizer: 60 dB"},
        {L"boost 6.0 --limit", "Boost: 60 dB 1"},
        {L"eq \"100 -3 1000 0 10000 6\"", "Equalizer: 100 -3 1000 0 10000 6\nBoost: 60 dB 1"},
        {L"boost off", "Equalizer: 100 -3 1000 0 10000 6\n#Boost: 60 dB 1"},
        {L"eq off", "#Equalizer: 100 -3 1000 0 10000 6\n#Boost: 60 dB 1"},
        {L"boost on --json", "#Equalizer: 100 -3 1000 0 10000 6\nBoost: 60 dB 1"},
        {L"eq --file \"" + file.wstring() + L"\"", "Equalizer: 20 -3.1 25 -2.9\nBoost: 60 dB 1"},
        {L"set \"Equalizer: 20 1\" \"#note\"", "Equalizer: 20 1\nBoost: 60 dB 1\n#note"},
    };
    for (const auto& step : steps) {
        EXPECT_EQ(control(step.arguments).exitStatus, 0U);
        EXPECT_EQ(::WaitForSingleObject(effect.updateEvent(), 0), WAIT_OBJECT_0);
        EXPECT_EQ(pageText(), step.text);
    }
    const auto status = control(L"status --json").output;
    EXPECT_NE(status.find(R"("text":"Equalizer: 20 1\nBoost: 60 dB 1\n#note")"), std::string::npos) << status;
    EXPECT_NE(status.find(R"("holders":1)"), std::string::npos) << status;
}

TEST(ControlProgram, WaitsForItsTurnSoThatTwoAtOnceKeepEachOthersLines) {
    const ApoConfigManager effect;
    control(L"boost 3");
    const KernelHandle turn(::CreateMutexW(nullptr, TRUE, L"Global\\TovixControl"));
    std::thread second([] { control(L"eq \"100 -3\""); });
    ::Sleep(1000);
    const std::string meanwhile = pageText();
    ::ReleaseMutex(turn.get());
    second.join();
    EXPECT_EQ(meanwhile, "Boost: 30 dB 0");
    EXPECT_EQ(pageText(), "Equalizer: 100 -3\nBoost: 30 dB 0");
}

TEST(ControlProgram, EffectsThatWaitForThePageAreReleasedAndDoNotOverwriteTheChange) {
    const RegistryValue previousEffect(L"EnableOldApo", 0);
    KernelHandle other = occupyPageName();
    const ApoConfigManager effects[2];
    EXPECT_EQ(control(L"boost 6").exitStatus, 4U) << "the name is taken";
    other.reset();
    EXPECT_EQ(control(L"eq \"100 -3\"").exitStatus, 0U);
    EXPECT_EQ(pageText(), "Equalizer: 100 -3\n#Boost: 0 dB 0\n#EnableOldApo:");
}

TEST(ControlProgram, SettingsThatAreHeldWaitForTheEffectWithTheEffectsOwnSecurity) {
    HeldProgram held(L"boost 2.5 --hold");
    ASSERT_TRUE(held.says("Boost: 25 dB 0"));
    const ApoConfigManager effect;
    EXPECT_EQ(pageText(), "Boost: 25 dB 0");
    const KernelHandle mapping(::OpenFileMappingW(FILE_MAP_ALL_ACCESS, FALSE, pageName));
    expectSharedDescriptor(mapping.get(), SECTION_ALL_ACCESS);
}

TEST(ControlProgram, WatchingShowsChangesKeepsThePageAndTakesNoSignal) {
    auto pEffect = std::make_unique<ApoConfigManager>();
    HeldProgram watch(L"watch --json");
    ASSERT_TRUE(watch.says(R"("text":"")"));
    ::SetEvent(pEffect->updateEvent());
    ::Sleep(600);
    EXPECT_EQ(::WaitForSingleObject(pEffect->updateEvent(), 0), WAIT_OBJECT_0);
    control(L"boost 3");
    EXPECT_TRUE(watch.says(R"("text":"Boost: 30 dB 0")"));
    pEffect.reset();
    EXPECT_EQ(pageText(), "Boost: 30 dB 0");
}

TEST(ControlProgram, RefusalsHaveTheirExitStatusAndLeaveTheSettingsAlone) {
    const ApoConfigManager effect;
    control(L"boost 1");
    ::WaitForSingleObject(effect.updateEvent(), 0);
    expectExitStatuses(
        {{0, {L"--help"}},
         {2,
          {L"", L"boost off --limit", L"boost 6 --clean --limit", L"boost on --clean", L"eq \"1 1\" --file x",
           L"eq \"1 1\" --fit 0", L"eq off --fit 3", L"log-level 6", L"status --hold"}},
         {3, {L"boost 30", L"eq \"2 1 1 1\"", L"set \"Bost: 1 dB 1\""}},
         {6, {L"eq --file missing.txt"}}});
    EXPECT_EQ(pageText(), "Boost: 10 dB 0");
    EXPECT_EQ(::WaitForSingleObject(effect.updateEvent(), 0), DWORD{WAIT_TIMEOUT});
}

TEST(ControlProgram, RegistryValuesAreWrittenAsTheEffectReadsThem) {
    const RegistryValue level(L"MLS", 1);
    const RegistryValue previousEffect(L"EnableOldApo", 0);
    const ApoConfigManager effect;
    EXPECT_EQ(control(L"log-level 5").exitStatus, 0U);
    EXPECT_EQ(ReadLogLevelSetting(), 5U);
    for (const bool on : {true, false}) {
        EXPECT_EQ(control(on ? L"old-apo on" : L"old-apo off").exitStatus, 0U);
        EXPECT_EQ(ReadPreviousEffectSetting(), on);
        EXPECT_EQ(pageText(), on ? "EnableOldApo:" : "#EnableOldApo:");
    }
}

} // namespace
} // namespace tovix::test
