#include "logger/LogFile.h"

#include "logger/AppendTurn.h"

#include <algorithm>
#include <array>

namespace tovix::logger {
namespace {

// Privileged services write here, into folders in which any user may have left something: through a junction or a
// symbolic link they would write wherever that user points. So everything is opened as itself, links included, and
// looked at by its handle; what a path says could change between a look and the opening. The one step that goes by
// the path is the renaming of a full file, which writes nothing. And whoever may write into the folder can have an
// empty file made elsewhere by way of a junction; no line gets into it.

constexpr DWORD shareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

/// Takes over what CreateFileW has returned for something opened as itself. Null for a link, and for what could not
/// be opened, which leaves its reason in the last error.
KernelHandle unlessLink(HANDLE hOpened) noexcept {
    if (hOpened == INVALID_HANDLE_VALUE) {
        return nullptr;
    }
    KernelHandle opened(hOpened);
    BY_HANDLE_FILE_INFORMATION information{};
    const bool isKnown = ::GetFileInformationByHandle(hOpened, &information) != FALSE;
    // A device has no attributes, and is not a link.
    if (isKnown ? (information.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0
                : ::GetFileType(hOpened) == FILE_TYPE_DISK) {
        opened.reset();
        ::SetLastError(ERROR_CANT_ACCESS_FILE);
    }
    return opened;
}

/// "C:\a" of "C:\a\b.log". Without the backslash at the end, which would follow a link, but for a drive's root.
std::wstring folderOf(const std::wstring& path) {
    const auto end = path.find_last_of(L"\\/");
    if (end == std::wstring::npos) {
        return L".";
    }
    const bool isRoot = end == 0 || path[end - 1] == L':';
    return path.substr(0, isRoot ? end + 1 : end);
}

/// The folder of the file, held so that nobody moves it away and puts another one, or a link, in its place meanwhile.
/// It is opened with the right to pass through it, because the system enforces the sharing mode then, and would not
/// for the right to read attributes alone. It can still be made a junction where it stands, which `standsIn` finds
/// out.
KernelHandle holdFolder(const std::wstring& path) noexcept {
    try {
        return unlessLink(::CreateFileW(folderOf(path).c_str(), FILE_TRAVERSE | FILE_READ_ATTRIBUTES,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                        FILE_FLAG_OPEN_REPARSE_POINT | FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

/// Where something opened really stands, without a backslash at the end; empty when the system does not say.
std::wstring placeOf(const KernelHandle& opened) {
    std::wstring place(::GetFinalPathNameByHandleW(opened.get(), nullptr, 0, VOLUME_NAME_NT), L'\0');
    place.resize(
        ::GetFinalPathNameByHandleW(opened.get(), place.data(), static_cast<DWORD>(place.size()), VOLUME_NAME_NT));
    if (place.ends_with(L'\\')) {
        place.pop_back();
    }
    return place;
}

/// Whether the file stands in the folder itself and is no other file by a second name. A device has no place.
bool standsIn(const KernelHandle& folder, const KernelHandle& file) noexcept {
    if (::GetFileType(file.get()) != FILE_TYPE_DISK) {
        return true;
    }
    BY_HANDLE_FILE_INFORMATION information{};
    if (::GetFileInformationByHandle(file.get(), &information) == FALSE || information.nNumberOfLinks > 1) {
        return false;
    }
    try {
        const std::wstring folderPlace = placeOf(folder);
        return !folderPlace.empty() && folderOf(placeOf(file)) == folderPlace;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

KernelHandle openToAppend(const std::wstring& path, DWORD share, DWORD disposition) noexcept {
    return unlessLink(::CreateFileW(path.c_str(), FILE_APPEND_DATA | FILE_READ_ATTRIBUTES | SYNCHRONIZE, share,
                                    nullptr, disposition, FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT,
                                    nullptr));
}

/// Opens the file although another process may be moving it aside at this moment.
KernelHandle openShared(const std::wstring& path) noexcept {
    constexpr int attempts = 20;
    constexpr DWORD pauseMs = 5;
    for (int i = 0;; ++i) {
        KernelHandle file = openToAppend(path, shareAll, OPEN_ALWAYS);
        if (file || ::GetLastError() != ERROR_SHARING_VIOLATION || i == attempts) {
            return file;
        }
        ::Sleep(pauseMs);
    }
}

std::int64_t sizeOf(const KernelHandle& file) noexcept {
    LARGE_INTEGER size{};
    // What is not a file on a disk has no size, and needs no rotation.
    return ::GetFileSizeEx(file.get(), &size) != FALSE ? size.QuadPart : 0;
}

/// Moves a full file aside. Nobody else may have it open for writing meanwhile, and the size is looked at again, so
/// that of two processes that find it full only one moves it.
void rotate(const std::wstring& path, std::int64_t addedBytes) noexcept {
    const KernelHandle file = openToAppend(path, FILE_SHARE_READ | FILE_SHARE_DELETE, OPEN_EXISTING);
    if (file && sizeOf(file) + addedBytes > rotationBytes) {
        try {
            ::MoveFileExW(path.c_str(), (path + L".1").c_str(), MOVEFILE_REPLACE_EXISTING);
        } catch (const std::bad_alloc&) {
            return;
        }
    }
}

bool appendTo(const std::wstring& path, std::string_view text) noexcept {
    const auto addedBytes = static_cast<std::int64_t>(text.size());
    const KernelHandle folder = holdFolder(path);
    KernelHandle file = folder ? openShared(path) : nullptr;
    if (file && standsIn(folder, file) && sizeOf(file) + addedBytes > rotationBytes) {
        file.reset();
        rotate(path, addedBytes);
        file = openShared(path);
    }
    // A file that somebody's open handle keeps in its place must not grow for ever either.
    if (!file || !standsIn(folder, file) || sizeOf(file) + addedBytes > 2 * rotationBytes) {
        return false;
    }
    const AppendTurn turn(file.get());
    DWORD written = 0;
    return ::WriteFile(file.get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr) != FALSE &&
           written == text.size();
}

} // namespace

bool LogFile::append(std::string_view text) const noexcept {
    return std::any_of(m_paths.begin(), m_paths.end(), [text](const auto& path) { return appendTo(path, text); });
}

std::wstring environmentText(const wchar_t* name) {
    std::wstring value(::GetEnvironmentVariableW(name, nullptr, 0), L'\0');
    value.resize(::GetEnvironmentVariableW(name, value.data(), static_cast<DWORD>(value.size())));
    return value;
}

std::vector<std::wstring> logFilePaths() {
    std::vector<std::wstring> paths;
    if (auto chosen = environmentText(L"TOVIX_LOG_FILE"); !chosen.empty()) {
        paths.push_back(std::move(chosen));
    }
    if (const auto programData = environmentText(L"ProgramData"); !programData.empty()) {
        const std::wstring folder = programData + L"\\Tovix";
        ::CreateDirectoryW(folder.c_str(), nullptr);
        paths.push_back(folder + L"\\Tovix.log");
    }
    std::array<wchar_t, MAX_PATH + 1> temporary{};
    if (::GetTempPathW(static_cast<DWORD>(temporary.size()), temporary.data()) != 0) {
        paths.push_back(std::wstring(temporary.data()) + L"Tovix.log");
    }
    return paths;
}

} // namespace tovix::logger
