#include "keep/UserFolder.h"

#include "host/SystemQueries.h"
#include "keep/KeepRefusal.h"
#include "system/WinHandles.h"

#include <shlobj.h>

#include <string>

namespace tovix::keep {
namespace {

std::filesystem::path userFolder() {
    wchar_t* pFound = nullptr;
    // Unverified: the folder is made when something is written, and where it cannot be, the refusal names it.
    const HRESULT result = ::SHGetKnownFolderPath(FOLDERID_RoamingAppData, KF_FLAG_DONT_VERIFY, nullptr, &pFound);
    const TaskMemory<wchar_t> path(pFound);
    if (FAILED(result)) {
        throw KeepRefusal(Obstacle::fileRefused, "The system has no folder for this user's settings: " +
                                                     describeSystemError(static_cast<DWORD>(result)) + ".");
    }
    return std::filesystem::path(path.get()) / L"Tovix";
}

std::filesystem::path refusedFile(const std::filesystem::path& lastSettings, std::size_t number) {
    return lastSettings.parent_path() /
           (lastSettings.stem().wstring() + L"-refused-" + std::to_wstring(number) + L".txt");
}

} // namespace

std::filesystem::path profilesFolder() {
    return userFolder() / L"profiles";
}

std::filesystem::path lastSettingsFile() {
    return userFolder() / L"last.txt";
}

std::filesystem::path freeNameForRefused(const std::filesystem::path& lastSettings) {
    return refusedFile(lastSettings, refusedFiles(lastSettings).size() + 1);
}

std::vector<std::filesystem::path> refusedFiles(const std::filesystem::path& lastSettings) {
    std::vector<std::filesystem::path> files;
    std::error_code ignored;
    for (auto file = refusedFile(lastSettings, 1); std::filesystem::exists(file, ignored);
         file = refusedFile(lastSettings, files.size() + 1)) {
        files.push_back(file);
    }
    return files;
}

} // namespace tovix::keep
