#include "install/InstallFolder.h"

#include "host/SystemQueries.h"
#include "install/InstallRefusal.h"
#include "system/WinHandles.h"
#include "text/Utf.h"

#include <shlobj.h>

#include <algorithm>

namespace tovix::install {
namespace {

/// Empty where the system has no such folder.
std::filesystem::path knownFolder(const KNOWNFOLDERID& id) {
    PWSTR pPath = nullptr;
    const HRESULT hr = ::SHGetKnownFolderPath(id, 0, nullptr, &pPath);
    const TaskMemory<wchar_t> path(pPath);
    return SUCCEEDED(hr) ? path.get() : L"";
}

bool isBelow(const std::filesystem::path& path, const std::filesystem::path& folder) {
    const auto isSamePart = [](const std::filesystem::path& one, const std::filesystem::path& other) {
        return ::CompareStringOrdinal(one.c_str(), -1, other.c_str(), -1, TRUE) == CSTR_EQUAL;
    };
    const auto [end, ignored] = std::mismatch(folder.begin(), folder.end(), path.begin(), path.end(), isSamePart);
    return !folder.empty() && end == folder.end();
}

[[noreturn]] void refuse(const std::filesystem::path& folder, const std::string& reason) {
    throw InstallRefusal(Obstacle::fileRefused,
                         "Tovix cannot be put into \"" + encodeUtf8(folder.wstring()) + "\": " + reason + ".");
}

} // namespace

std::filesystem::path packageFolder() {
    return std::filesystem::path(ownProgramPath()).parent_path();
}

std::filesystem::path defaultInstallFolder() {
    const auto programs = knownFolder(FOLDERID_ProgramFilesX64);
    if (programs.empty()) {
        throw InstallRefusal(Obstacle::fileRefused, "The system does not name its folder for programs; use --to.");
    }
    return programs / L"Tovix";
}

std::filesystem::path checkedInstallFolder(const std::filesystem::path& wished) {
    std::error_code error;
    std::filesystem::path folder = std::filesystem::absolute(wished, error).lexically_normal().make_preferred();
    if (error) {
        refuse(wished, describeSystemError(static_cast<DWORD>(error.value())));
    }
    if (!folder.has_filename()) {
        folder = folder.parent_path(); // a slash at the end
    }
    if (folder == folder.root_path()) {
        refuse(folder, "it is no folder");
    }
    if (folder.wstring().starts_with(L"\\\\") || ::GetDriveTypeW(folder.root_path().c_str()) == DRIVE_REMOTE) {
        refuse(folder, "the audio service sees nothing that is on a network");
    }
    if (isBelow(folder, knownFolder(FOLDERID_UserProfiles)) && !isBelow(folder, knownFolder(FOLDERID_Public))) {
        refuse(folder, "it is in a user's profile, which the audio service cannot read");
    }
    return folder;
}

} // namespace tovix::install
