#include "support/ChildProcess.h"

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
