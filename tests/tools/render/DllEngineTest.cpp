// The renderer with the effect's library for its engine, as a user of Windows has it.

#include "exchange/SharedConfigMapping.h"
#include "support/ModuleUnderTest.h"
#include "support/PreviousEffectServer.h"
#include "support/SettingsWriter.h"
#include "tools/render/RenderSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

using namespace tovix;
using namespace tovix::render;

namespace {

/// A tone with loud and faint stretches, a little different in every channel.
Sound programme(int channels) {
    return makeSound(channels, 1.5, [](double t, int c) {
        const double swell = 0.5 + 0.45 * std::sin(4.0 * t);
        return swell * std::sin(6.283185 * (220.0 + 30.0 * c) * t) * (c % 2 == 0 ? 1.0 : 0.7);
    });
}

/// Expects the sounds of two files to be the same but for rounding.
void expectSame(const TestFolder& folder, const char* name, const char* other, const char* what) {
    const Sound a = readSound(folder.file(name));
    const Sound b = readSound(folder.file(other));
    ASSERT_EQ(a.samples.size(), b.samples.size()) << what;
    ASSERT_FALSE(a.samples.empty()) << what;
    for (std::size_t i = 0; i < a.samples.size(); ++i) {
        ASSERT_NEAR(a.samples[i], b.samples[i], 1e-6F) << what << ", sample " << i;
    }
}

/// The largest magnitude of the sound between two moments.
float peakBetween(const Sound& sound, double fromSeconds, double toSeconds) {
    float peak = 0.0F;
    for (auto f = std::lround(fromSeconds * sound.sampleRateHz); f < std::lround(toSeconds * sound.sampleRateHz);
         ++f) {
        peak = std::max(peak, std::fabs(sound.at(static_cast<std::size_t>(f), 0)));
    }
    return peak;
}

std::string systemLibrary(const wchar_t* name) {
    std::array<wchar_t, MAX_PATH> folder{};
    ::GetSystemDirectoryW(folder.data(), MAX_PATH);
    return (std::filesystem::path(folder.data()) / name).string();
}

/// The settings text on the machine before a render.
constexpr std::string_view machineText = "Boost: 33 dB 1";

TEST(DllEngine, GivesWhatTheCoreGives) {
    struct Case {
        const char* name;
        int channels;
        std::vector<std::string> arguments;
    };
    const std::string equalizer = "Equalizer: 100 -3 1000 0 10000 6";
    const std::vector<Case> cases{
        {"limiter and equalizer", 2, {"--set", equalizer, "--set", "Boost: 60 dB 1"}},
        {"plain boost", 2, {"--set", "Boost: 90 dB 0"}},
        {"mono to stereo", 1, {"--set", equalizer, "--channels-out", "2"}},
        {"two of six", 6, {"--set", "Boost: 120 dB 1", "--channels-out", "2"}},
        {"two of three", 3, {"--set", equalizer, "--channels-out", "2", "--at", "0.5", "Boost: 120 dB 1"}},
        {"stereo to mono", 2, {"--set", "Boost: 120 dB 1", "--channels-out", "1"}},
        {"six channels, short blocks", 6, {"--set", "Boost: 120 dB 1", "--set", equalizer, "--block", "128"}},
        {"a change in mid-file", 2, {"--set", "Boost: 60 dB 1", "--at", "0.5", "Boost: 0 dB 1", equalizer}},
        {"a change that waits for a fade",
         2,
         {"--block", "64", "--at", "0.5", "Boost: 120 dB 1", "--at", "0.502", "Boost: 0 dB 1"}},
    };
    for (const auto& c : cases) {
        const TestFolder folder;
        writeSound(folder.file("in.wav"), programme(c.channels));
        std::vector<std::string> arguments{folder.file("in.wav"), folder.file("core.wav"), "--report", "json"};
        arguments.insert(arguments.end(), c.arguments.begin(), c.arguments.end());
        const Outcome core = runRender(arguments);
        ASSERT_EQ(core.status, 0) << c.name << ": " << core.err;
        arguments[1] = folder.file("dll.wav");
        const Outcome dll = runProgramAsIs(arguments);
        ASSERT_EQ(dll.status, 0) << c.name << ": " << dll.err;
        ASSERT_NE(dll.out.find("Tovix64.dll"), std::string::npos) << dll.out;
        expectSame(folder, "dll.wav", "core.wav", c.name);
    }
}

TEST(DllEngine, PlaysTheRegisteredLibraryThroughCom) {
    const TestFolder folder;
    writeSound(folder.file("in.wav"), programme(2));
    const auto render = [&folder](const char* output, const char* engine) {
        return runProgramAsIs({folder.file("in.wav"), folder.file(output), "--quiet", engine});
    };
    EXPECT_NE(render("none.wav", "--registered").err.find("the registered effect cannot be created"),
              std::string::npos);
    const test::ModuleUnderTest module;
    ASSERT_EQ(module.call("DllRegisterServer"), S_OK);
    const Outcome registered = render("registered.wav", "--registered");
    ASSERT_EQ(module.call("DllUnregisterServer"), S_OK);
    ASSERT_EQ(registered.status, 0) << registered.err;
    ASSERT_EQ(render("core.wav", "--core").status, 0);
    expectSame(folder, "registered.wav", "core.wav", "registered");
}

/// The registered effect's render of "in.wav" with more options.
Outcome renderRegistered(const TestFolder& folder, const char* output, const std::vector<std::string>& options) {
    std::vector<std::string> arguments{folder.file("in.wav"), folder.file(output), "--registered"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return runProgramAsIs(arguments);
}

TEST(DllEngine, PlaysThePreviousEffectOfADeviceAheadOfTheRegisteredOne) {
    const TestFolder folder;
    writeSound(folder.file("in.wav"), programme(2));
    const test::ModuleUnderTest module;
    ASSERT_EQ(module.call("DllRegisterServer"), S_OK);
    const std::string halving = test::PreviousEffectServer::narrowClassText(test::PreviousEffectKind::halving);
    const std::vector<std::string> linear{"--set", "Equalizer: 100 -3 1000 0 10000 6"};
    const auto with = [](std::vector<std::string> options, const std::vector<std::string>& more) {
        options.insert(options.end(), more.begin(), more.end());
        return options;
    };
    {
        const test::PreviousEffectServer server;
        const Outcome behind = renderRegistered(folder, "behind.wav", with(linear, {"--previous-effect", halving}));
        EXPECT_EQ(behind.status, 0) << behind.err;
        EXPECT_NE(behind.out.find("behind the previous effect " + halving), std::string::npos) << behind.out;
        EXPECT_EQ(renderRegistered(folder, "alone.wav", linear).status, 0);
        const std::vector<std::string> off{"--previous-effect", halving, "--set", "#EnableOldApo:"};
        EXPECT_EQ(renderRegistered(folder, "off.wav", with(linear, off)).status, 0);
    }
    const Outcome unregistered = renderRegistered(folder, "none.wav", {"--previous-effect", halving});
    EXPECT_EQ(unregistered.status, 1);
    EXPECT_NE(unregistered.err.find("is not registered on this machine"), std::string::npos) << unregistered.err;
    ASSERT_EQ(module.call("DllUnregisterServer"), S_OK);
    const Sound behind = readSound(folder.file("behind.wav"));
    const Sound alone = readSound(folder.file("alone.wav"));
    ASSERT_EQ(behind.samples.size(), alone.samples.size());
    EXPECT_GT(peakBetween(alone, 0.0, 1.5), 0.5F);
    for (std::size_t i = 0; i < alone.samples.size(); ++i) {
        ASSERT_NEAR(behind.samples[i], 0.5F * alone.samples[i], 1e-6F) << i;
    }
    expectSame(folder, "off.wav", "alone.wav", "switched off");
}

TEST(DllEngine, IsSteeredByTheControlProgramWhileItPlays) {
    const TestFolder folder;
    writeSound(folder.file("in.wav"), sineSound(2, 4.0, 997.0, 0.1));
    writeText(folder.file("settings.txt"), "Boost: 0 dB 1\n#Equalizer:\n");
    const test::SettingsWriter machine(machineText);
    Outcome render;
    testing::internal::CaptureStderr();
    std::thread playing([&] {
        render = runProgramAsIs({folder.file("in.wav"), folder.file("out.wav"), "--quiet", "--settings",
                                 folder.file("settings.txt"), "--realtime", "--watch"});
    });
    for (int i = 0; i < 500 && machine.text() == machineText; ++i) {
        ::Sleep(20);
    }
    const Outcome second = runProgramAsIs({folder.file("in.wav"), folder.file("second.wav")});
    ::Sleep(1000);
    test::ChildProcess control({test::programFolder() / "tovixctl.exe", L"boost 12 --limit"});
    const DWORD status = control.finish();
    playing.join();
    const std::string told = testing::internal::GetCapturedStderr();
    ASSERT_EQ(render.status, 0) << render.err;
    EXPECT_EQ(status, 0U);
    EXPECT_EQ(second.status, 1);
    EXPECT_NE(second.err.find("another render is running"), std::string::npos) << second.err;
    EXPECT_NE(machine.text().find("Boost: 120 dB 1"), std::string::npos) << "somebody else's change stays";
    EXPECT_NE(told.find("Boost: 120 dB 1"), std::string::npos) << told;
    const Sound sound = readSound(folder.file("out.wav"));
    EXPECT_NEAR(peakBetween(sound, 0.0, 0.5), 0.1, 0.001);
    EXPECT_NEAR(peakBetween(sound, 3.5, 4.0), 0.1 * std::pow(10.0, 12.0 / 20.0), 0.004);
}

TEST(DllEngine, GivesTheMachineItsSettingsBack) {
    const TestFolder folder;
    writeSound(folder.file("in.wav"), programme(1));
    const test::SettingsWriter machine(machineText);
    const KernelHandle event(::CreateEventW(nullptr, FALSE, FALSE, CONFIG_DATA_UPDATE_EVENT));
    const Outcome plain = runProgramAsIs({folder.file("in.wav"), folder.file("out.wav")});
    EXPECT_EQ(plain.status, 0) << plain.err;
    EXPECT_EQ(machine.text(), machineText);
    EXPECT_EQ(::WaitForSingleObject(event.get(), 0), WAIT_OBJECT_0) << "an effect that plays must hear of it";
    const Outcome change =
        runProgramAsIs({folder.file("in.wav"), folder.file("2.wav"), "--at", "0.5", "Boost: 1 dB 1"});
    EXPECT_EQ(change.status, 1);
    EXPECT_NE(change.err.find("could take the change"), std::string::npos) << change.err;
    EXPECT_EQ(::WaitForSingleObject(event.get(), 0), DWORD{WAIT_TIMEOUT}) << "refused before anything was touched";
    EXPECT_EQ(machine.text(), machineText);
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"in.wav", "out.wav"}));
}

TEST(DllEngine, DoesNotCallARenderDoneWhoseLibraryIsStillInUse) {
    const TestFolder folder;
    writeSound(folder.file("in.wav"), programme(1));
    const test::ModuleUnderTest module;
    const auto factory = module.factory();
    factory->LockServer(TRUE);
    const Outcome outcome = runProgramAsIs({folder.file("in.wav"), folder.file("out.wav")});
    factory->LockServer(FALSE);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.err.find("still in use"), std::string::npos) << outcome.err;
    EXPECT_EQ(folder.names(), std::vector<std::string>{"in.wav"});
}

TEST(DllEngine, SaysWhatKeepsALibraryFromBeingUsed) {
    const TestFolder folder;
    writeSound(folder.file("in.wav"), programme(1));
    writeText(folder.file("text.dll"), "no library at all");
    struct Case {
        std::vector<std::string> options;
        int status;
        const char* told;
    };
    const std::vector<Case> cases{
        {{"--dll", folder.file("text.dll")}, 1, "cannot be loaded: it is no 64-bit library."},
        {{"--dll", folder.file("absent.dll")}, 1, "(error 126)"},
        {{"--dll", systemLibrary(L"kernel32.dll")}, 1, "has no DllGetClassObject"},
        {{"--dll", systemLibrary(L"propsys.dll")}, 1, "does not hold the effect (0x80040111)"},
        {{"--dll", "Tovix64.dll", "--registered"}, 2, "excludes"},
        {{"--core", "--watch"}, 2, "excludes"},
        {{"--previous-effect", "Tovix"}, 2, "and \"Tovix\" is none."},
        {{"--previous-effect", ""}, 2, "and \"\" is none."},
        {{"--previous-effect", "{8B1D5C3E-6A47-4F0B-9E52-C7A3D8F41B60}"}, 2, "this effect's own class"},
    };
    for (const auto& c : cases) {
        std::vector<std::string> arguments{folder.file("in.wav"), folder.file("out.wav")};
        arguments.insert(arguments.end(), c.options.begin(), c.options.end());
        const Outcome outcome = runProgramAsIs(arguments);
        EXPECT_EQ(outcome.status, c.status) << outcome.err;
        EXPECT_NE(outcome.err.find(c.told), std::string::npos) << outcome.err;
    }
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"in.wav", "text.dll"}));
}

} // namespace
