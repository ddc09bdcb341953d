#include "render/files/ProgramEnd.h"
#include "tools/render/RenderSupport.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tovix::render {
namespace {

using Arguments = std::vector<std::string>;

/// A folder with a good sound "in.wav" of half a second, and some bad ones.
class Refusal : public testing::Test {
protected:
    Refusal() {
        writeSound(in, sineSound(2, 0.5, 440.0, 0.5));
        writeText(folder.file("text.wav"), "no sound at all");
        writeText(folder.file("long.txt"), "Equalizer: 1 1\n" + std::string(250, '#'));
        writeSound(folder.file("no-frames.wav"), Sound());
        writeSound(folder.file("slow.wav"), {.sampleRateHz = 9, .samples = {0.5F, 0.5F}, .channelMap = {}});
        writeSound(folder.file("fast.wav"), {.sampleRateHz = 384001, .samples = {0.5F, 0.5F}, .channelMap = {}});
        writeText(out, "what stood here before");
    }

    TestFolder folder;
    std::string in = folder.file("in.wav");
    std::string out = folder.file("out.wav");
};

TEST_F(Refusal, OfEachWrongInputHasItsStatusAndOneSentenceAndLeavesTheOutputAlone) {
    struct Case {
        Arguments arguments;
        ExitStatus status;
        const char* sentence = "";
    };
    const std::string equalizer255 = "Equalizer: 1 1" + std::string(241, ' ');
    const std::vector<Case> cases{
        {{}, ExitStatus::usage},
        {{in, out, "--block", "many"}, ExitStatus::usage},
        {{in, out, "--at", "soon", "Boost: 1 dB 1"}, ExitStatus::usage},
        {{in, out, "--at", "0.1"}, ExitStatus::usage},
        {{"--at", "0.1", "Boost: 1 dB 1", in, out}, ExitStatus::usage, "put the file names first"},
        {{in, out, "--levels", in}, ExitStatus::usage},
        {{in, out, "--levels", out}, ExitStatus::usage},
        {{in, out, "--levels", folder.file("t.csv"), "--response", folder.file("t.csv")}, ExitStatus::usage},
        {{in, out, "--previous-effect", "{0}"}, ExitStatus::usage, "needs the effect's library"},
        {{folder.file("absent.wav"), out}, ExitStatus::unreadableInput},
        {{folder.file("text.wav"), out}, ExitStatus::unreadableInput},
        {{folder.file("no-frames.wav"), out}, ExitStatus::unreadableInput},
        {{folder.file("slow.wav"), out}, ExitStatus::unsupportedFormat},
        {{folder.file("fast.wav"), out}, ExitStatus::unsupportedFormat},
        {{in, out, "--channels-out", "0"}, ExitStatus::unsupportedFormat},
        {{in, out, "--channels-out", "4097"}, ExitStatus::unsupportedFormat},
        {{in, out, "--set", equalizer255 + ' '}, ExitStatus::settingsTooLong},
        {{in, out, "--settings", folder.file("long.txt")}, ExitStatus::settingsTooLong},
        {{in, out, "--at", "0.1", "EnableOldApo:" + std::string(240, ' ')}, ExitStatus::settingsTooLong},
        {{in, out, "--set", "Boost: 60 db 1"}, ExitStatus::uselessLine},
        {{in, out, "--at", "0.1", "Boost 60 dB 1"}, ExitStatus::uselessLine},
        {{in, out, "--block", "0"}, ExitStatus::blockSize},
        {{in, out, "--block", "65537"}, ExitStatus::blockSize},
        {{in, out, "--at", "0.2", "Boost: 1 dB 1", "--at", "0.1", "Boost: 2 dB 1"}, ExitStatus::changeTime},
        {{in, out, "--at", "-0.1", "Boost: 1 dB 1"}, ExitStatus::changeTime},
        {{in, out, "--at", "0.495", "Boost: 1 dB 1"}, ExitStatus::changeTime},
        {{in, folder.file("absent/out.wav")}, ExitStatus::unwritableOutput},
        {{in, folder.file("")}, ExitStatus::unwritableOutput},
        {{in, out, "--levels", folder.file("absent/levels.csv")}, ExitStatus::unwritableOutput},
        {{in, out, "--settings", folder.file("absent.txt")}, ExitStatus::unreadableSettings},
    };
    const auto namesBefore = folder.names();
    for (const auto& test : cases) {
        const auto outcome = runRender(test.arguments);
        const auto told = testing::PrintToString(test.arguments) + ": " + outcome.err;
        EXPECT_EQ(outcome.status, static_cast<int>(test.status)) << told;
        EXPECT_TRUE(outcome.err.starts_with("tovix-render: ")) << told;
        EXPECT_NE(outcome.err.find(test.sentence), std::string::npos) << told;
        EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1) << told;
        EXPECT_EQ(outcome.out, "") << told;
    }
    EXPECT_EQ(folder.names(), namesBefore);
    EXPECT_EQ(test::contentOf(folder.path() / "out.wav"), "what stood here before");
    EXPECT_EQ(runRender({in, out, "--set", equalizer255}).status, 0) << "255 bytes still fit";
}

TEST_F(Refusal, DoesNotMeetWhatOnlyLooksWrong) {
    // A block of one frame is slow with an equalizer.
    for (const Arguments& options : {Arguments{"--set", "#Boost: 60 db 1"},
                                     {"--set", "EnableOldApo:"},
                                     {"--block", "1", "--set", "Boost: 10 dB 1"},
                                     {"--block", "65536"},
                                     {"--at", "0.49", "Boost: 1 dB 1"},
                                     {"--at", "0", "Boost: 1 dB 0"},
                                     {"--set", ""}}) {
        Arguments arguments{in, out};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const auto outcome = runRender(arguments);
        EXPECT_EQ(outcome.status, 0) << testing::PrintToString(arguments) << outcome.err;
    }
    EXPECT_NE(runRender({"--help"}).out.find("130 interrupted"), std::string::npos);
}

} // namespace
} // namespace tovix::render
