#include "support/ImportWatch.h"
#include "support/ModuleUnderTest.h"

#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <string_view>

namespace tovix::test {
namespace {

namespace fs = std::filesystem;

TEST(AudioEngineAllocator, LibraryOfTheSystemFolderGivesAndTakesTheBlocks) {
    std::array<wchar_t, MAX_PATH> folder{};
    ::GetSystemDirectoryW(folder.data(), MAX_PATH);
    const fs::path engineFile = fs::path(folder.data()) / "audioeng.dll";
    const bool isWine = ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
    if (!isWine || fs::exists(engineFile)) {
        GTEST_SKIP() << "the system folder is not ours to change";
    }
    fs::copy_file(programFolder() / "tovix-audio-engine-double.dll", engineFile);
    for (const bool whole : {true, false}) {
        const ModuleUnderTest module;
        ImportWatch imports(module.handle());
        if (!whole) { // a library that gives blocks and takes none
            imports.redirect(
                "GetProcAddress", +[](HMODULE hModule, const char* name) {
                    return std::string_view(name) == "AERT_Free" ? nullptr : ::GetProcAddress(hModule, name);
                });
        }
        const ModuleReference engine(::LoadLibraryW(engineFile.c_str()));
        auto* const pBlocksOut = moduleExport<long()>(engine.get(), "BlocksOut");
        std::optional<Effect> locked(module.create());
        EXPECT_EQ(locked->lock(floatFormat(2), floatFormat(2), 480), S_OK);
        EXPECT_EQ(pBlocksOut() > 0, whole) << "the module's chains lie there, too";
        locked.reset();
        EXPECT_EQ(pBlocksOut(), 0);
    }
    fs::remove(engineFile);
}

} // namespace
} // namespace tovix::test
