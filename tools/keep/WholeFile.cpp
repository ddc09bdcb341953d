#include "keep/WholeFile.h"

#include "keep/KeepRefusal.h"

#include <fstream>
#include <system_error>

#ifdef _WIN32
#include "host/SystemQueries.h"
#include "system/WinHandles.h"

#include <shlobj.h>
#else
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>
#endif

namespace tovix::keep {
namespace {

[[noreturn]] void refuse(const std::filesystem::path& path, const char* what, const std::string& why) {
    throw KeepRefusal(Obstacle::fileRefused, "\"" + textOfPath(path) + "\" cannot be " + what + ": " + why + ".");
}

#ifdef _WIN32

[[noreturn]] void refuseWriting(const std::filesystem::path& path) {
    const DWORD error = ::GetLastError();
    refuse(path, "written", describeSystemError(error));
}

void makeFolder(const std::filesystem::path& folder) {
    const int result = ::SHCreateDirectoryExW(nullptr, folder.c_str(), nullptr);
    if (result != ERROR_SUCCESS && !std::filesystem::is_directory(folder)) {
        ::SetLastError(static_cast<DWORD>(result));
        refuseWriting(folder);
    }
}

void writeThrough(const std::filesystem::path& path, std::string_view bytes) {
    HANDLE const hFile =
        ::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (hFile == INVALID_HANDLE_VALUE) {
        refuseWriting(path);
    }
    const KernelHandle file(hFile);
    DWORD written = 0;
    if (::WriteFile(hFile, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) == FALSE ||
        ::FlushFileBuffers(hFile) == FALSE) {
        refuseWriting(path);
    }
    if (written != bytes.size()) {
        refuse(path, "written", "there is no room for all of it");
    }
}

bool hasMoved(const std::filesystem::path& from, const std::filesystem::path& to) {
    return ::MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != FALSE;
}

/// A program that reads the old file, as one that searches or backs up does, is in the way for a moment: the system
/// denies access to the name of a file that is open.
void putInPlace(const std::filesystem::path& from, const std::filesystem::path& to) {
    constexpr ULONGLONG limitMs = 1000;
    constexpr DWORD periodMs = 5;
    const ULONGLONG endMs = ::GetTickCount64() + limitMs;
    while (!hasMoved(from, to)) {
        const DWORD error = ::GetLastError();
        const bool isInUse = error == ERROR_ACCESS_DENIED || error == ERROR_SHARING_VIOLATION;
        if (!isInUse || ::GetTickCount64() > endMs) {
            ::SetLastError(error);
            refuseWriting(to);
        }
        ::Sleep(periodMs);
    }
}

#else

[[noreturn]] void refuseWriting(const std::filesystem::path& path) {
    refuse(path, "written", std::generic_category().message(errno));
}

void makeFolder(const std::filesystem::path& folder) {
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error) {
        refuse(folder, "written", error.message());
    }
}

void writeThrough(const std::filesystem::path& path, std::string_view bytes) {
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (file < 0) {
        refuseWriting(path);
    }
    const bool written =
        ::write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()) && ::fsync(file) == 0;
    const int error = errno;
    ::close(file);
    if (!written) {
        errno = error;
        refuseWriting(path);
    }
}

void putInPlace(const std::filesystem::path& from, const std::filesystem::path& to) {
    if (std::rename(from.c_str(), to.c_str()) != 0) {
        refuseWriting(to);
    }
}

#endif

} // namespace

std::optional<std::string> readWholeFile(const std::filesystem::path& path, std::size_t mostBytes) {
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (status.type() == std::filesystem::file_type::not_found) {
        return std::nullopt;
    }
    std::ifstream file(path, std::ios::binary);
    if (status.type() != std::filesystem::file_type::regular || !file) {
        refuse(path, "read", error ? error.message() : "it is no file that this user may read");
    }
    std::string bytes(mostBytes + 1, '\0');
    file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (file.bad()) {
        refuse(path, "read", "the system stopped in the middle");
    }
    bytes.resize(static_cast<std::size_t>(file.gcount()));
    return bytes;
}

void replaceWholeFile(const std::filesystem::path& path, std::string_view bytes) {
    makeFolder(path.parent_path());
    std::filesystem::path unfinished = path;
    unfinished += ".part";
    try {
        writeThrough(unfinished, bytes);
        putInPlace(unfinished, path);
    } catch (const KeepRefusal&) {
        std::error_code ignored;
        std::filesystem::remove(unfinished, ignored);
        throw;
    }
}

std::string textOfPath(const std::filesystem::path& path) {
    const auto text = path.u8string();
    return {text.begin(), text.end()};
}

} // namespace tovix::keep
