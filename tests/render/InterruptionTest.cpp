#include "ExitStatus.h"
#include "RenderSupport.h"

#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

namespace tovix::render {
namespace {

/// Starts the program with a render that takes minutes: an equalizer in blocks of one frame.
pid_t startLongRender(const std::string& in, const std::string& out) {
    const pid_t child = fork();
    if (child == 0) {
        execl(TOVIX_RENDER_PROGRAM, "tovix-render", in.c_str(), out.c_str(), "--block", "1", nullptr);
        _exit(127);
    }
    return child;
}

TEST(Interruption, LeavesTheOutputAsItWasAndNothingBesideIt) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        const TestFolder folder;
        writeSound(folder.file("in.wav"), sineSound(2, 60.0, 440.0, 0.5));
        writeText(folder.file("out.wav"), "what stood here before");
        const pid_t child = startLongRender(folder.file("in.wav"), folder.file("out.wav"));
        for (int tries = 0; folder.names().size() < 3 && tries < 1000; ++tries) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        ASSERT_EQ(folder.names().size(), 3U) << "the render has begun under another name";
        kill(child, signal);
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFEXITED(status));
        EXPECT_EQ(WEXITSTATUS(status), static_cast<int>(ExitStatus::interrupted));
        EXPECT_EQ(folder.names(), (std::vector<std::string>{"in.wav", "out.wav"}));
        EXPECT_EQ(readText(folder.file("out.wav")), "what stood here before");
    }
}

} // namespace
} // namespace tovix::render
