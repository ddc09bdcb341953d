#include "apo/Tovix.h"
#include "support/ImportWatch.h"
#include "support/LogCapture.h"
#include "support/LoggedModule.h"
#include "support/PreviousEffectDouble.h"
#include "support/SettingsWriter.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace tovix::test {
namespace {

/// What the engine does with an effect, refusals included.
void liveAWholeLife(const ModuleUnderTest& module) {
    Effect effect(module.create());
    effect.apo->Initialize(0, nullptr);
    effect.initialize();
    const auto stereo = floatFormat(2, 48000, 3);
    FormatDouble output(stereo);
    FormatDouble six(floatFormat(6, 48000, 0x3F));
    negotiate(*effect.apo, &output, nullptr);
    negotiate(*effect.apo, &output, &six);
    negotiate(*effect.apo, &output, &output);
    negotiate(*effect.apo, nullptr, &six);
    effect.lock(stereo, stereo, 480, 441);
    effect.lock(stereo, stereo, 480, 441);
    effect.config->UnlockForProcess();
}

TEST(LifeLog, TellsAWholeLifeInTheGivenWords) {
    SettingsWriter settings("");
    Lines told = toldBy(&liveAWholeLife);
    std::erase_if(told, [](const std::string& line) { // the other classes' texts have tests of their own
        return line.find("@Tovix ") == std::string::npos && line.find("@ClassFactory ") == std::string::npos;
    });
    const std::string in = "INFO Tovix::IsInputFormatSupported@Tovix ";
    const std::string fields = "BytesPerSample=4, BitsPerSample=32, FramesPerSecond=48000.000000, ChannelMask=";
    const std::string stereo = "{ SamplesPerFrame=2, " + fields + "3, guidFormatType=3";
    const std::string surround = "{ SamplesPerFrame=6, " + fields + "63, guidFormatType=3";
    const std::string accepted = in + "Input format has been accepted";
    const std::string lock = "INFO Tovix::LockForProcess@Tovix ";
    const std::string locked = "{ SamplesPerFrame=2, " + fields + "3, InputFrameCount=";
    const std::string input = lock + "Input format= " + locked + "480, guidFormatType=3 }";
    const std::string target = lock + "Output format= " + locked + "441, guidFormatType=3 }";
    const Lines expected{
        "INFO ClassFactory::CreateInstance@ClassFactory entered",
        "INFO Tovix::Tovix@Tovix CALLED",
        "ERROR Tovix::Initialize@Tovix cbDataSize size IS incorrect.",
        "INFO Tovix::Initialize@Tovix APO GUID: {8B1D5C3E-6A47-4F0B-9E52-C7A3D8F41B60}",
        "INFO Tovix::Initialize@Tovix Endpoint GUID: {endpoint}",
        "ERROR Tovix::IsInputFormatSupported@Tovix wrong arguments",
        in + "RequestedInputFormat = " + surround,
        in + "Output format = " + stereo + " }",
        "WARNING Tovix::IsInputFormatSupported@Tovix AFTER CBaseAudioProcessingObject::"
        "IsInputFormatSupported() CreateAudioMediaTypeFromUncompressedAudioFormat",
        in + "InputFormat NOT accepted, SupportedInputFormat = " + stereo + " }",
        in + "RequestedInputFormat = " + stereo,
        in + "Output format = " + stereo + " }",
        accepted,
        in + "RequestedInputFormat = " + surround,
        accepted,
        input,
        target,
        lock + "SUCCEEDED",
        input,
        target,
        "ERROR Tovix::LockForProcess@Tovix CBaseAudioProcessingObject::LockForProcess() FAILED",
        "INFO Tovix::~Tovix@Tovix CALLED",
    };
    EXPECT_EQ(told, expected);
}

TEST(LifeLog, ModuleIsInUseFromTheFirstLineOfALifeToTheLast) {
    SettingsWriter settings("");
    std::vector<std::uint32_t> uses;
    const LogCapture capture(LogLevel::Info, [&](const std::string&) { uses.push_back(moduleState.uses); });
    (new Tovix(nullptr))->NonDelegatingRelease();
    EXPECT_GT(uses.size(), 8U);
    EXPECT_EQ(std::count(uses.begin(), uses.end(), 0U), 0);
    EXPECT_EQ(moduleState.uses, 0U);
}

constexpr HRESULT (*noText)() = [] { return E_OUTOFMEMORY; };

/// A life in which everything fails that can; how its previous effect can has a test of its own.
void failAtEverything(const ModuleUnderTest& module) {
    PreviousEffectDouble previous;
    Effect effect(module.create());
    auto& tovix = static_cast<Tovix&>(*effect.apo);
    FormatDouble good(floatFormat(2));
    FormatDouble unreadable(floatFormat(2), E_UNEXPECTED);
    FormatDouble tooFast(floatFormat(2, 400000));
    {
        ImportWatch watch(module.handle());
        watch.redirect("StringFromCLSID", noText);
        EXPECT_EQ(effect.initialize(), S_OK);
        effect.initialize(E_ACCESSDENIED);
    }
    tovix.fillPreviousEffectSlot(static_cast<IAudioProcessingObject&>(previous));
    previous.pProposal = &unreadable;
    for (const HRESULT result : {S_OK, S_FALSE, E_FAIL}) {
        previous.formatResult = result;
        negotiate(*effect.apo, &good, &good);
    }
    negotiate(*effect.apo, &good, &unreadable);
    negotiate(*effect.apo, &unreadable, &good);
    negotiate(*effect.apo, &tooFast, &good);
    tovix.fillPreviousEffectSlot(static_cast<IAudioProcessingObject&>(previous));
    effect.lock(unreadable, good, 480);
    effect.lock(good, unreadable, 480);
    effect.lock(good, good, 480);
}

TEST(LifeLog, TellsEveryFailureInTheGivenWords) {
    SettingsWriter settings("");
    Lines lines = toldBy(&failAtEverything, "@Tovix:");
    std::erase_if(lines, [](const auto& line) { return line.find("SamplesPerFrame=") != std::string::npos; });
    const std::string initialize = " Tovix::Initialize@Tovix ";
    const std::string ask = " Tovix::IsInputFormatSupported@Tovix ";
    const std::string accepted = "INFO" + ask + "Input format has been accepted";
    const std::string asked =
        "INFO" + ask + "Tovix::IsInputFormatSupported() InputFormatSupported of old apo SUCCEEDED";
    const std::string lock = " Tovix::LockForProcess@Tovix ";
    const Lines expected{
        "INFO Tovix::Tovix@Tovix CALLED",
        "ERROR" + initialize + "Failed to convert APO GUID to text",
        "INFO" + initialize + "Endpoint GUID: {endpoint}",
        "ERROR" + initialize + "Failed to convert APO GUID to text",
        "ERROR" + initialize + "Failed to read endpoint GUID",
        asked,
        accepted,
        asked,
        "ERROR" + ask + "(*ppSupportedInputFormat)->GetUncompressedAudioFormat() FAILED",
        "WARNING" + ask + "Tovix::IsInputFormatSupported() IsInputFormatSupported of old apo FAILED. hr=-2147467259",
        accepted,
        "ERROR" + ask + "pRequestedInputFormat->GetUncompressedAudioFormat() FAILED",
        "ERROR" + ask + "pOutputFormat->GetUncompressedAudioFormat() FAILED",
        "WARNING" + ask + "Unexpected HRESULT. hr=-2005073917",
        "ERROR" + lock + "GetUncompressedAudioFormat() FAILED",
        "ERROR" + lock + "GetUncompressedAudioFormat() FAILED",
        "INFO" + lock + "LockForProcess() for old APO SUCCEEDED",
        "INFO" + lock + "SUCCEEDED",
        "INFO Tovix::~Tovix@Tovix CALLED",
    };
    EXPECT_EQ(lines, expected);
}

/// The codes that they return are the registration's tests'.
TEST(LifeLog, TellsHowRegistrationWent) {
    Lines lines = toldBy(
        [](const ModuleUnderTest& module) {
            const auto call = [&module](const char* name) { static_cast<void>(module.call(name)); };
            call("DllRegisterServer");
            call("DllUnregisterServer");
            call("DllUnregisterServer");
            ImportWatch watch(module.handle());
            watch.redirect(
                "RegCreateKeyExW", +[] { return LSTATUS{ERROR_ACCESS_DENIED}; });
            call("DllRegisterServer");
            watch.redirect("RegCreateKeyExW", nullptr);
            watch.redirect("StringFromCLSID", noText);
            call("DllRegisterServer");
        },
        "@DllMain:");
    const std::string enter = " DllRegisterServer@DllMain ";
    const std::string leave = " DllUnregisterServer@DllMain ";
    const std::string missing = "ERROR" + leave +
                                "RegistryException caught. msg=Failed to delete registry key HKEY_LOCAL_MACHINE\\"
                                "SOFTWARE\\Classes\\CLSID\\{8B1D5C3E-6A47-4F0B-9E52-C7A3D8F41B60}\\InprocSer";
    ASSERT_EQ(lines.size(), 10U);
    lines[5].resize(std::min(lines[5].size(), missing.size())); // the line is full somewhere in the system's words
    EXPECT_EQ(lines,
              (Lines{"INFO" + enter + "Entered", "INFO" + enter + "SUCCEEDED", "INFO" + leave + "Entered",
                     "INFO" + leave + "SUCCEEDED", "INFO" + leave + "Entered", missing, "INFO" + enter + "Entered",
                     "ERROR" + enter + "RegisterAPO() FAILED", "INFO" + enter + "Entered",
                     "ERROR" + enter + "RegistryException caught. msg=StringFromCLSID failed"}));
}

} // namespace
} // namespace tovix::test
