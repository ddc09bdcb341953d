// The renderer with the effect's library for its engine, as a user of Windows has it.

#include "exchange/SharedConfigMapping.h"
#include "support/BecomesTrue.h"
#include "support/ModuleUnderTest.h"
#include "support/PreviousEffectServer.h"
#include "support/SettingsWriter.h"
#include "tools/render/RenderSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
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

class DllEngine : public testing::Test {
protected:
    /// Renders "in.wav".
    [[nodiscard]] Outcome render(const char* output, const std::vector<std::string>& options = {}) const {
        std::vector<std::string> arguments{folder.file("in.wav"), folder.file(output)};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return runProgramAsIs(arguments);
    }
    void expectFailure(const std::vector<std::string>& options, const char* told, int status = 1) const {
        const Outcome outcome = render("none.wav", options);
        EXPECT_EQ(outcome.status, status) << outcome.err;
        EXPECT_NE(outcome.err.find(told), std::string::npos) << outcome.err;
    }
    /// Expects the sound of one file to be that of the other with this gain, but for rounding.
    void expectSame(const char* name, const char* other, float gain = 1.0F) const {
        const Sound a = readSound(folder.file(name));
        const Sound b = readSound(folder.file(other));
        ASSERT_EQ(a.samples.size(), b.samples.size()) << name;
        ASSERT_FALSE(a.samples.empty()) << name;
        for (std::size_t i = 0; i < a.samples.size(); ++i) {
            ASSERT_NEAR(a.samples[i], gain * b.samples[i], 1e-6F) << name << ", sample " << i;
        }
    }

    TestFolder folder;
};

constexpr const char* linear = "Equalizer: 100 -3 1000 0 10000 6";

/// The settings text on the machine before a render.
constexpr std::string_view machineText = "Boost: 33 dB 1";

TEST_F(DllEngine, GivesWhatTheCoreGives) {
    // Channels of the input, and options. The last change has to wait for a fade.
    const std::vector<std::pair<int, std::vector<std::string>>> cases{
        {2, {"--set", linear, "--set", "Boost: 60 dB 1"}},
        {2, {"--set", "Boost: 90 dB 0"}},
        {1, {"--set", linear, "--channels-out", "2"}},
        {6, {"--set", "Boost: 120 dB 1", "--channels-out", "2"}},
        {3, {"--set", linear, "--channels-out", "2", "--at", "0.5", "Boost: 120 dB 1"}},
        {2, {"--set", "Boost: 120 dB 1", "--channels-out", "1"}},
        {6, {"--set", "Boost: 120 dB 1", "--set", linear, "--block", "128"}},
        {2, {"--set", "Boost: 60 dB 1", "--at", "0.5", "Boost: 0 dB 1", linear}},
        {2, {"--block", "64", "--at", "0.5", "Boost: 120 dB 1", "--at", "0.502", "Boost: 0 dB 1"}}};
    for (const auto& [channels, options] : cases) {
        SCOPED_TRACE(testing::PrintToString(options));
        writeSound(folder.file("in.wav"), programme(channels));
        auto withCore = options;
        withCore.emplace_back("--core");
        ASSERT_EQ(render("core.wav", withCore).status, 0);
        const Outcome dll = render("dll.wav", options);
        ASSERT_EQ(dll.status, 0) << dll.err;
        ASSERT_NE(dll.out.find("Tovix64.dll"), std::string::npos) << dll.out;
        expectSame("dll.wav", "core.wav");
    }
}

TEST_F(DllEngine, PlaysTheRegisteredLibraryThroughComBehindThePreviousEffectOfADevice) {
    writeSound(folder.file("in.wav"), programme(2));
    const std::string halving = test::PreviousEffectServer::narrowClassText(test::PreviousEffectKind::halving);
    const std::vector<std::string> behind{"--registered", "--previous-effect", halving, "--set", linear};
    expectFailure({"--registered"}, "the registered effect cannot be created");
    const test::ModuleUnderTest module;
    ASSERT_EQ(module.call("DllRegisterServer"), S_OK);
    EXPECT_EQ(render("alone.wav", {"--registered", "--set", linear}).status, 0);
    expectFailure(behind, "is not registered on this machine");
    {
        const test::PreviousEffectServer server;
        const Outcome halved = render("halved.wav", behind);
        EXPECT_NE(halved.out.find("behind the previous effect " + halving), std::string::npos) << halved.err;
        auto off = behind;
        off.back() += "\n#EnableOldApo:";
        EXPECT_EQ(render("off.wav", off).status, 0);
    }
    ASSERT_EQ(module.call("DllUnregisterServer"), S_OK);
    EXPECT_EQ(render("core.wav", {"--core", "--set", linear}).status, 0);
    expectSame("alone.wav", "core.wav");
    expectSame("off.wav", "alone.wav");
    expectSame("halved.wav", "alone.wav", 0.5F);
}

TEST_F(DllEngine, IsSteeredByTheControlProgramWhileItPlays) {
    writeSound(folder.file("in.wav"), sineSound(2, 4.0, 997.0, 0.1));
    writeText(folder.file("settings.txt"), "Boost: 0 dB 1\n#Equalizer:\n");
    const test::SettingsWriter machine(machineText);
    Outcome steered;
    testing::internal::CaptureStderr();
    std::thread playing([&] {
        steered = render("out.wav", {"--quiet", "--settings", folder.file("settings.txt"), "--realtime", "--watch"});
    });
    static_cast<void>(test::becomesTrue([&] { return machine.text() != machineText; }));
    expectFailure({}, "another render is running");
    ::Sleep(1000);
    test::ChildProcess control({test::programFolder() / "tovixctl.exe", L"boost 12 --limit"});
    const DWORD status = control.finish();
    playing.join();
    const std::string told = testing::internal::GetCapturedStderr();
    ASSERT_EQ(steered.status, 0) << steered.err;
    EXPECT_EQ(status, 0U);
    EXPECT_NE(machine.text().find("Boost: 120 dB 1"), std::string::npos) << "somebody else's change stays";
    EXPECT_NE(told.find("Boost: 120 dB 1"), std::string::npos) << told;
    const auto samples = readSound(folder.file("out.wav")).samples;
    ASSERT_EQ(samples.size(), 4U * 2 * 48000);
    constexpr int halfSecond = 48000;
    EXPECT_NEAR(*std::max_element(samples.begin(), samples.begin() + halfSecond), 0.1, 0.001);
    EXPECT_NEAR(*std::max_element(samples.end() - halfSecond, samples.end()), 0.1 * std::pow(10.0, 12.0 / 20.0),
                0.004);
}

TEST_F(DllEngine, GivesTheMachineItsSettingsBack) {
    writeSound(folder.file("in.wav"), programme(1));
    const test::SettingsWriter machine(machineText);
    const KernelHandle event(::CreateEventW(nullptr, FALSE, FALSE, CONFIG_DATA_UPDATE_EVENT));
    EXPECT_EQ(render("out.wav").status, 0);
    EXPECT_EQ(machine.text(), machineText);
    EXPECT_EQ(::WaitForSingleObject(event.get(), 0), WAIT_OBJECT_0) << "an effect that plays must hear of it";
    expectFailure({"--at", "0.5", "Boost: 1 dB 1"}, "could take the change");
    EXPECT_EQ(::WaitForSingleObject(event.get(), 0), DWORD{WAIT_TIMEOUT}) << "refused before anything was touched";
    EXPECT_EQ(machine.text(), machineText);
}

TEST_F(DllEngine, DoesNotCallARenderDoneWhoseLibraryIsStillInUse) {
    writeSound(folder.file("in.wav"), programme(1));
    const test::ModuleUnderTest module;
    const auto factory = module.factory();
    factory->LockServer(TRUE);
    expectFailure({}, "still in use");
    factory->LockServer(FALSE);
    EXPECT_EQ(folder.names(), std::vector<std::string>{"in.wav"});
}

TEST_F(DllEngine, SaysWhatKeepsALibraryFromBeingUsed) {
    writeSound(folder.file("in.wav"), programme(1));
    writeText(folder.file("text.dll"), "no library at all");
    const auto besideTheTests = [](const char* name) { return (test::programFolder() / name).string(); };
    expectFailure({"--dll", folder.file("text.dll")}, "cannot be loaded: it is no 64-bit library.");
    expectFailure({"--dll", folder.file("absent.dll")}, "(error 126)");
    expectFailure({"--dll", besideTheTests("logger/Logger64.dll")}, "has no DllGetClassObject");
    expectFailure({"--dll", besideTheTests("tovix-previous-effect.dll")}, "does not hold the effect (0x80040111)");
    expectFailure({"--dll", "Tovix64.dll", "--registered"}, "excludes", 2);
    expectFailure({"--core", "--watch"}, "excludes", 2);
    expectFailure({"--previous-effect", "Tovix"}, "and \"Tovix\" is none.", 2);
    expectFailure({"--previous-effect", ""}, "and \"\" is none.", 2);
    expectFailure({"--previous-effect", "{8B1D5C3E-6A47-4F0B-9E52-C7A3D8F41B60}"}, "this effect's own class", 2);
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"in.wav", "text.dll"}));
}

} // namespace
