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

/// What the module is expected to have told since the last call; of the classes whose texts have tests of their own
/// the function and the source alone.
void expectTold(LoggedModule& logged, const Lines& expected) {
    Lines told = logged.lines(expected.size());
    for (std::string& line : told) {
        const auto source = line.find('@');
        const auto message = line.find(' ', source);
        if (const auto name = line.substr(source, message - source); name != "@Tovix" && name != "@ClassFactory") {
            line.resize(message);
        }
    }
    EXPECT_EQ(told, expected);
}

constexpr const char* formats = "BytesPerSample=4, BitsPerSample=32, FramesPerSecond=";

TEST(LifeLog, TellsAWholeLifeInTheGivenWords) {
    const RegistryValue level(L"MLS", 4);
    LoggedModule logged;
    SettingsWriter settings("");
    const std::string fields = formats;
    {
        const ModuleUnderTest module(logged.path());
        Effect effect(module.create());
        expectTold(logged,
                   {"INFO ClassFactory::CreateInstance@ClassFactory entered",
                    "INFO EffectManager::EffectManager@EffectManager",
                    "INFO ApoConfigManager::ApoConfigManager@ConfigHelper",
                    "INFO ApoConfigManager::CreateSharedConfigData@ConfigHelper",
                    "INFO ApoConfigManager::ApoConfigManager@ConfigHelper", "INFO Tovix::Tovix@Tovix CALLED"});

        EXPECT_EQ(effect.apo->Initialize(0, nullptr), E_INVALIDARG);
        EXPECT_EQ(effect.initialize(), S_OK);
        expectTold(logged, {"ERROR Tovix::Initialize@Tovix cbDataSize size IS incorrect.",
                            "INFO Tovix::Initialize@Tovix APO GUID: {8B1D5C3E-6A47-4F0B-9E52-C7A3D8F41B60}",
                            "INFO Tovix::Initialize@Tovix Endpoint GUID: {endpoint}"});

        FormatDouble output(floatFormat(2, 48000, 3));
        FormatDouble six(floatFormat(6, 48000, 0x3F));
        negotiate(*effect.apo, &output, nullptr);
        negotiate(*effect.apo, &output, &six);
        negotiate(*effect.apo, &output, &output);
        negotiate(*effect.apo, nullptr, &six);
        const std::string in = "INFO Tovix::IsInputFormatSupported@Tovix ";
        const std::string stereo = "2, " + fields + "48000.000000, ChannelMask=3, guidFormatType=3";
        const std::string surround = "6, " + fields + "48000.000000, ChannelMask=63, guidFormatType=3";
        expectTold(logged,
                   {"ERROR Tovix::IsInputFormatSupported@Tovix wrong arguments",
                    in + "RequestedInputFormat = { SamplesPerFrame=" + surround,
                    in + "Output format = { SamplesPerFrame=" + stereo + " }",
                    "WARNING Tovix::IsInputFormatSupported@Tovix AFTER CBaseAudioProcessingObject::"
                    "IsInputFormatSupported() CreateAudioMediaTypeFromUncompressedAudioFormat",
                    in + "InputFormat NOT accepted, SupportedInputFormat = { SamplesPerFrame=" + stereo + " }",
                    in + "RequestedInputFormat = { SamplesPerFrame=" + stereo,
                    in + "Output format = { SamplesPerFrame=" + stereo + " }", in + "Input format has been accepted",
                    in + "RequestedInputFormat = { SamplesPerFrame=" + surround,
                    in + "Input format has been accepted"});

        const auto stereoFormat = floatFormat(2, 48000, 3);
        EXPECT_EQ(effect.lock(stereoFormat, stereoFormat, 480, 441), S_OK);
        EXPECT_EQ(effect.lock(stereoFormat, stereoFormat, 480, 441), APOERR_APO_LOCKED);
        const std::string lock = "INFO Tovix::LockForProcess@Tovix ";
        const std::string locked = "2, " + fields + "48000.000000, ChannelMask=3, InputFrameCount=";
        const std::string input = lock + "Input format= { SamplesPerFrame=" + locked + "480, guidFormatType=3 }";
        const std::string target = lock + "Output format= { SamplesPerFrame=" + locked + "441, guidFormatType=3 }";
        expectTold(logged,
                   {input, target, lock + "SUCCEEDED", "INFO EffectManager::initializeManager@EffectManager", input,
                    target, "ERROR Tovix::LockForProcess@Tovix CBaseAudioProcessingObject::LockForProcess() FAILED"});

        EXPECT_EQ(effect.config->UnlockForProcess(), S_OK);
    }
    expectTold(logged, {"INFO Tovix::~Tovix@Tovix CALLED", "INFO EffectManager::~EffectManager@EffectManager",
                        "INFO EffectManager::notificationThread@EffectManager",
                        "INFO EffectManager::~EffectManager@EffectManager",
                        "INFO ApoConfigManager::~ApoConfigManager@ConfigHelper",
                        "INFO ApoConfigManager::~ApoConfigManager@ConfigHelper"});
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

HRESULT WINAPI noText(REFCLSID, LPOLESTR*) {
    return E_OUTOFMEMORY;
}

LSTATUS WINAPI accessDenied() {
    return ERROR_ACCESS_DENIED;
}

void failToInitialize(const ModuleUnderTest& module, Effect& effect) {
    ImportWatch watch(module.handle());
    watch.redirect("StringFromCLSID", reinterpret_cast<const void*>(&noText));
    EXPECT_EQ(effect.initialize(), S_OK);
    EXPECT_EQ(effect.initialize(E_ACCESSDENIED), E_ACCESSDENIED);
}

void failToNegotiate(Effect& effect, PreviousEffectDouble& previous) {
    FormatDouble good(floatFormat(2));
    FormatDouble unreadable(floatFormat(2), E_UNEXPECTED);
    FormatDouble tooFast(floatFormat(2, 400000));
    previous.pProposal = &unreadable;
    for (const HRESULT result : {S_OK, S_FALSE, HRESULT{2}, E_FAIL}) {
        previous.formatResult = result;
        negotiate(*effect.apo, &good, &good);
    }
    negotiate(*effect.apo, &good, &unreadable);
    negotiate(*effect.apo, &unreadable, &good);
    negotiate(*effect.apo, &tooFast, &good);
}

void failToLock(Effect& effect, PreviousEffectDouble& previous) {
    FormatDouble good(floatFormat(2));
    FormatDouble unreadable(floatFormat(2), E_UNEXPECTED);
    effect.lock(unreadable, good, 480);
    effect.lock(good, unreadable, 480);
    for (const HRESULT result : {S_OK, E_FAIL}) {
        previous.lockResult = result;
        previous.unlockResult = result;
        EXPECT_EQ(effect.lock(good, good, 480), S_OK);
        EXPECT_EQ(effect.config->UnlockForProcess(), S_OK);
    }
}

TEST(LifeLog, TellsEveryFailureInTheGivenWords) {
    SettingsWriter settings("");
    Lines lines = toldWith("@Tovix ", [](const ModuleUnderTest& module) {
        PreviousEffectDouble previous;
        Effect effect(module.create());
        auto& tovix = static_cast<Tovix&>(*effect.apo);
        failToInitialize(module, effect);
        EXPECT_EQ(tovix.fillPreviousEffectSlot(static_cast<IAudioProcessingObject&>(previous)), S_OK);
        failToNegotiate(effect, previous);
        EXPECT_EQ(tovix.fillPreviousEffectSlot(static_cast<IAudioProcessingObject&>(previous)), S_OK);
        failToLock(effect, previous);
    });
    std::erase_if(lines, [](const auto& line) { return line.find("SamplesPerFrame=") != std::string::npos; });
    const std::string initialize = " Tovix::Initialize@Tovix ";
    const std::string ask = " Tovix::IsInputFormatSupported@Tovix ";
    const std::string asked =
        "INFO" + ask + "Tovix::IsInputFormatSupported() InputFormatSupported of old apo SUCCEEDED";
    const std::string accepted = "INFO" + ask + "Input format has been accepted";
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
        asked,
        "WARNING" + ask + "Unexpected HRESULT. hr=2",
        "WARNING" + ask + "Tovix::IsInputFormatSupported() IsInputFormatSupported of old apo FAILED. hr=-2147467259",
        accepted,
        "ERROR" + ask + "pRequestedInputFormat->GetUncompressedAudioFormat() FAILED",
        "ERROR" + ask + "pOutputFormat->GetUncompressedAudioFormat() FAILED",
        "WARNING" + ask + "Unexpected HRESULT. hr=-2005073917",
        "ERROR" + lock + "GetUncompressedAudioFormat() FAILED",
        "ERROR" + lock + "GetUncompressedAudioFormat() FAILED",
        "INFO" + lock + "LockForProcess() for old APO SUCCEEDED",
        "INFO" + lock + "SUCCEEDED",
        "WARNING" + lock + "LockForProcess() for old APO FAILED. hr=-2147467259",
        "INFO" + lock + "SUCCEEDED",
        "WARNING Tovix::UnlockForProcess@Tovix Tovix::UnlockForProcess() for old apo FAILED. hr=-2147467259",
        "INFO Tovix::~Tovix@Tovix CALLED",
    };
    EXPECT_EQ(lines, expected);
}

TEST(LifeLog, TellsHowRegistrationWent) {
    Lines lines = toldWith("Dll", [](const ModuleUnderTest& module) {
        EXPECT_EQ(module.call("DllRegisterServer"), S_OK);
        EXPECT_EQ(module.call("DllUnregisterServer"), S_OK);
        EXPECT_EQ(module.call("DllUnregisterServer"), E_FAIL);
        ImportWatch watch(module.handle());
        watch.redirect("RegCreateKeyExW", reinterpret_cast<const void*>(&accessDenied));
        EXPECT_EQ(module.call("DllRegisterServer"), E_ACCESSDENIED);
        watch.redirect("RegCreateKeyExW", nullptr);
        watch.redirect("StringFromCLSID", reinterpret_cast<const void*>(&noText));
        EXPECT_EQ(module.call("DllRegisterServer"), E_FAIL);
    });
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
