#include "support/ChildProcess.h"
#include "support/EnvironmentVariable.h"

#include <gtest/gtest.h>

#include <array>

namespace tovix::test {
namespace {

namespace fs = std::filesystem;

const fs::path engineDouble = "tovix-audio-engine-double.dll";
const fs::path engineName = "audioeng.dll";

fs::path systemFolder() {
    std::array<wchar_t, MAX_PATH> path{};
    ::GetSystemDirectoryW(path.data(), MAX_PATH);
    return path.data();
}

TEST(AudioEngineAllocator, LibraryOutsideTheSystemFolderIsNeverUsed) {
    if (fs::exists(systemFolder() / engineName)) {
        GTEST_SKIP() << "this system has the library";
    }
    const TemporaryFolder beside;
    const TemporaryFolder current;
    const TemporaryFolder onPath;
    for (const auto* const pFolder : {&beside, &current, &onPath}) {
        fs::copy_file(programFolder() / engineDouble, pFolder->path() / engineName);
    }
    fs::copy_file(programFolder() / "tovix-effect-side.exe", beside.path() / "effect.exe");
    const EnvironmentVariable searchPath(L"PATH", onPath.path().wstring());
    ChildProcess effect({beside.path() / "effect.exe", L"", current.path()});
    EXPECT_EQ(effect.ask("allocate"), "not installed heap -1 -1");

    ChildProcess withForeignOne({beside.path() / "effect.exe", L""});
    EXPECT_EQ(withForeignOne.ask("load " + (onPath.path() / engineName).string()), "ok");
    EXPECT_EQ(withForeignOne.ask("allocate"), "not installed heap 0 0");
}

TEST(AudioEngineAllocator, LibraryOfTheSystemFolderGivesAndTakesTheBlocks) {
    const bool isWine = ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
    if (!isWine || fs::exists(systemFolder() / engineName)) {
        GTEST_SKIP() << "the system folder is not ours to change";
    }
    fs::copy_file(programFolder() / engineDouble, systemFolder() / engineName);
    ChildProcess effect({programFolder() / "tovix-effect-side.exe", L""});
    EXPECT_EQ(effect.ask("allocate"), "installed locked 1 0");
    effect.finish();
    fs::remove(systemFolder() / engineName);
}

} // namespace
} // namespace tovix::test
