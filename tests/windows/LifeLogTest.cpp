#include "support/ModuleUnderTest.h"
#include "support/RegistryValue.h"
#include "support/SettingsWriter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <regex>

namespace tovix::test {
namespace {

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

/// A copy of the module beside a logger library that wants every line.
class LoggedModule {
public:
    LoggedModule() {
        fs::copy_file(programFolder() / "Tovix64.dll", m_folder.path() / "Tovix64.dll");
        fs::copy_file(programFolder() / "tovix-logger-double.dll", m_folder.path() / "Logger64.dll");
        ::_putenv(("DOUBLE_LOGGER_FILE=" + (m_folder.path() / "record.txt").string()).c_str());
    }

    [[nodiscard]] fs::path path() const { return m_folder.path() / "Tovix64.dll"; }

    /// The lines since the last call as "LEVEL Class::Method@Source message", without thread, object and line number.
    Lines lines() {
        static const std::regex layout(R"(line (\w+) \[\d+\] \[this=0x[0-9A-F]{16}\] \[(\S+):\d+\] (.*))");
        std::ifstream file(m_folder.path() / "record.txt", std::ios::binary);
        file.seekg(m_read);
        Lines lines;
        std::smatch match;
        for (std::string line; std::getline(file, line); m_read += static_cast<std::streamoff>(line.size()) + 1) {
            if (std::regex_match(line, match, layout)) {
                lines.push_back(match.str(1) + " " + match.str(2) + " " + match.str(3));
            }
        }
        return lines;
    }

private:
    TemporaryFolder m_folder;
    std::streamoff m_read = 0;
};

constexpr const char* formats = "BytesPerSample=4, BitsPerSample=32, FramesPerSecond=";

TEST(LifeLog, TellsAWholeLifeInTheGivenWords) {
    const RegistryValue level(L"MLS", 4);
    LoggedModule logged;
    SettingsWriter settings("");
    const std::string fields = formats;
    {
        const ModuleUnderTest module(logged.path());
        Effect effect(module.create());
        EXPECT_EQ(logged.lines(), (Lines{"INFO ClassFactory::CreateInstance@ClassFactory entered",
                                         "INFO EffectManager::EffectManager@EffectManager ENTERED",
                                         "INFO ApoConfigManager::ApoConfigManager@ConfigHelper ENTERING",
                                         "INFO ApoConfigManager::CreateSharedConfigData@ConfigHelper "
                                         "m_pSharedData->Open( CONFIG_DATA_STRUCT ) SUCCEEDED",
                                         "INFO ApoConfigManager::ApoConfigManager@ConfigHelper LEAVING",
                                         "INFO Tovix::Tovix@Tovix CALLED"}));

        EXPECT_EQ(effect.apo->Initialize(0, nullptr), E_INVALIDARG);
        EXPECT_EQ(effect.initialize(), S_OK);
        EXPECT_EQ(logged.lines(),
                  (Lines{"ERROR Tovix::Initialize@Tovix cbDataSize size IS incorrect.",
                         "INFO Tovix::Initialize@Tovix APO GUID: {8B1D5C3E-6A47-4F0B-9E52-C7A3D8F41B60}",
                         "INFO Tovix::Initialize@Tovix Endpoint GUID: {endpoint}"}));

        FormatDouble output(floatFormat(2, 48000, 3));
        FormatDouble six(floatFormat(6, 48000, 0x3F));
        negotiate(*effect.apo, &output, nullptr);
        negotiate(*effect.apo, &output, &six);
        negotiate(*effect.apo, &output, &output);
        const std::string in = "INFO Tovix::IsInputFormatSupported@Tovix ";
        const std::string stereo = "2, " + fields + "48000.000000, ChannelMask=3, guidFormatType=3";
        const std::string surround = "6, " + fields + "48000.000000, ChannelMask=63, guidFormatType=3";
        EXPECT_EQ(logged.lines(),
                  (Lines{"ERROR Tovix::IsInputFormatSupported@Tovix wrong arguments",
                         in + "RequestedInputFormat = { SamplesPerFrame=" + surround,
                         in + "Output format = { SamplesPerFrame=" + stereo + " }",
                         "WARNING Tovix::IsInputFormatSupported@Tovix AFTER CBaseAudioProcessingObject::"
                         "IsInputFormatSupported() CreateAudioMediaTypeFromUncompressedAudioFormat",
                         in + "InputFormat NOT accepted, SupportedInputFormat = { SamplesPerFrame=" + stereo + " }",
                         in + "RequestedInputFormat = { SamplesPerFrame=" + stereo,
                         in + "Output format = { SamplesPerFrame=" + stereo + " }",
                         in + "Input format has been accepted"}));

        const auto stereoFormat = floatFormat(2, 48000, 3);
        EXPECT_EQ(effect.lock(stereoFormat, stereoFormat, 480, 441), S_OK);
        EXPECT_EQ(effect.lock(stereoFormat, stereoFormat, 480, 441), APOERR_APO_LOCKED);
        const std::string lock = "INFO Tovix::LockForProcess@Tovix ";
        const std::string locked = "2, " + fields + "48000.000000, ChannelMask=3, InputFrameCount=";
        const std::string input = lock + "Input format= { SamplesPerFrame=" + locked + "480, guidFormatType=3 }";
        const std::string target = lock + "Output format= { SamplesPerFrame=" + locked + "441, guidFormatType=3 }";
        EXPECT_EQ(
            logged.lines(),
            (Lines{input, target, lock + "SUCCEEDED",
                   "INFO EffectManager::initializeManager@EffectManager Channel count= 2 Device= FL FR", input,
                   target, "ERROR Tovix::LockForProcess@Tovix CBaseAudioProcessingObject::LockForProcess() FAILED"}));

        settings.change("Boost: loud");
        ::Sleep(300);
        EXPECT_EQ(effect.config->UnlockForProcess(), S_OK);
        EXPECT_EQ(logged.lines(), (Lines{"ERROR EffectFactoryBoost::createFilter@EffectFactoryBoost "
                                         "Couldn't create boost filter. Params mismatch=0"}));
    }
    EXPECT_EQ(logged.lines(),
              (Lines{"INFO Tovix::~Tovix@Tovix CALLED", "INFO EffectManager::~EffectManager@EffectManager ENTERED",
                     "INFO EffectManager::notificationThread@EffectManager Shutdown event received 1",
                     "INFO EffectManager::~EffectManager@EffectManager "
                     "params change notification thread was terminated",
                     "INFO ApoConfigManager::~ApoConfigManager@ConfigHelper ENTERING",
                     "INFO ApoConfigManager::~ApoConfigManager@ConfigHelper LEAVING"}));
}

TEST(LifeLog, TellsThatTheThreadEndedWhileItWaitedForTheChainsSlot) {
    const RegistryValue level(L"MLS", 4);
    LoggedModule logged;
    SettingsWriter settings("");
    {
        const ModuleUnderTest module(logged.path());
        Effect effect(module.create());
        EXPECT_EQ(effect.lock(floatFormat(2), floatFormat(2), 480), S_OK);
        settings.change("Boost: 60 dB 1"); // takes the slot, which no block gives back
        ::Sleep(200);
        settings.change("Boost: 70 dB 1");
        ::Sleep(200);
    }
    const auto lines = logged.lines();
    EXPECT_EQ(std::count(lines.begin(), lines.end(),
                         "INFO EffectManager::notificationThread@EffectManager Shutdown event received 2"),
              1);
}

} // namespace
} // namespace tovix::test
