#include "keep/UserFolder.h"

#include "host/SystemQueries.h"
#include "keep/KeepRefusal.h"
#include "system/WinHandles.h"

#include <shlobj.h>

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

} // namespace

std::filesystem::path profilesFolder() {
    return userFolder() / L"profiles";
}

std::filesystem::path lastSettingsFile() {
    return userFolder() / L"last.txt";
}

} // namespace tovix::keep
