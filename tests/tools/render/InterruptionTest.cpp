#include "render/files/ProgramEnd.h"
#include "tools/render/RenderSupport.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

namespace tovix::render {
namespace {

/// Starts the program with a render that takes minutes: an equalizer in blocks of one frame. In real time it spends
/// them asleep, eight seconds for each block.
pid_t startLongRender(const std::string& in, const std::string& out, bool realtime) {
    const pid_t child = fork();
    if (child == 0) {
        // A test that runs in a background job inherits that interrupts are ignored.
        std::signal(SIGINT, SIG_DFL);
        execl(TOVIX_RENDER_PROGRAM, "tovix-render", in.c_str(), out.c_str(), "--block", realtime ? "65536" : "1",
              realtime ? "--realtime" : nullptr, nullptr);
        _exit(127);
    }
    return child;
}

TEST(Interruption, LeavesTheOutputAsItWasAndNothingBesideIt) {
    auto sound = sineSound(2, 60.0, 440.0, 0.5);
    sound.sampleRateHz = 8000;
    for (const auto& [signal, realtime] :
         {std::pair{SIGINT, false}, {SIGTERM, false}, {SIGHUP, false}, {SIGINT, true}}) {
        const TestFolder folder;
        writeSound(folder.file("in.wav"), sound);
        writeText(folder.file("out.wav"), "what stood here before");
        const pid_t child = startLongRender(folder.file("in.wav"), folder.file("out.wav"), realtime);
        for (int tries = 0; folder.names().size() < 3 && tries < 1000; ++tries) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        ASSERT_EQ(folder.names().size(), 3U) << "the render has begun under another name";
        // By then the one in real time is asleep.
        std::this_thread::sleep_for(std::chrono::milliseconds(realtime ? 500 : 0));
        const auto start = std::chrono::steady_clock::now();
        kill(child, signal);
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
        EXPECT_EQ(WEXITSTATUS(status), static_cast<int>(ExitStatus::interrupted));
        EXPECT_EQ(folder.names(), (std::vector<std::string>{"in.wav", "out.wav"}));
        EXPECT_EQ(test::contentOf(folder.path() / "out.wav"), "what stood here before");
    }
}

} // namespace
} // namespace tovix::render
