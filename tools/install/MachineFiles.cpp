#include "install/MachineFiles.h"

#include "host/SystemQueries.h"
#include "install/Hexadecimal.h"
#include "install/InstallRefusal.h"
#include "install/MachineChanged.h"
#include "system/WinHandles.h"
#include "text/Utf.h"

#include <bcrypt.h>

#include <array>
#include <vector>

namespace tovix::install {
namespace {

constexpr std::size_t chunkBytes = 65'536;

Obstacle obstacleOf(DWORD error) noexcept {
    switch (error) {
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
    case ERROR_USER_MAPPED_FILE:
        return Obstacle::fileInUse;
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
        return Obstacle::diskFull;
    default:
        return Obstacle::fileRefused;
    }
}

[[noreturn]] void refuse(const std::string& step, const std::filesystem::path& file, DWORD error) {
    const Obstacle obstacle = obstacleOf(error);
    const std::string name = "\"" + encodeUtf8(file.wstring()) + "\"";
    throw InstallRefusal(obstacle, obstacle == Obstacle::fileInUse
                                       ? "The file " + name +
                                             " is in use by another process; the audio engine lets go "
                                             "of it with --restart-audio."
                                       : "The system refuses to " + step + " " + name + ": " +
                                             describeSystemError(error) + ".");
}

bool isMissing(DWORD error) noexcept {
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

/// The file open with these rights; null where it is missing and `error` says so.
KernelHandle openFile(const std::filesystem::path& file, DWORD rights, DWORD sharing, DWORD creation) noexcept {
    const HANDLE handle =
        ::CreateFileW(file.c_str(), rights, sharing, nullptr, creation, FILE_ATTRIBUTE_NORMAL, nullptr);
    return KernelHandle(handle != INVALID_HANDLE_VALUE ? handle : nullptr);
}

struct DestroyHash {
    void operator()(void* pHash) const noexcept { ::BCryptDestroyHash(pHash); }
};

/// A SHA-256 sum under way.
class Sum {
public:
    Sum() {
        BCRYPT_HASH_HANDLE hHash = nullptr;
        const NTSTATUS opened = ::BCryptOpenAlgorithmProvider(&m_hAlgorithm, BCRYPT_SHA256_ALGORITHM, nullptr, 0);
        if (opened < 0 || ::BCryptCreateHash(m_hAlgorithm, &hHash, nullptr, 0, nullptr, 0, 0) < 0) {
            throw InstallRefusal(Obstacle::fileRefused, "The system has no SHA-256 sums.");
        }
        m_hash.reset(hHash);
    }
    ~Sum() {
        m_hash.reset();
        ::BCryptCloseAlgorithmProvider(m_hAlgorithm, 0);
    }
    Sum(const Sum&) = delete;
    Sum& operator=(const Sum&) = delete;

    void add(std::vector<BYTE>& chunk, DWORD size) noexcept { ::BCryptHashData(m_hash.get(), chunk.data(), size, 0); }

    std::string hexadecimal() {
        std::array<BYTE, 32> sum{};
        ::BCryptFinishHash(m_hash.get(), sum.data(), static_cast<ULONG>(sum.size()), 0);
        return install::hexadecimal(sum);
    }

private:
    BCRYPT_ALG_HANDLE m_hAlgorithm = nullptr;
    std::unique_ptr<void, DestroyHash> m_hash;
};

} // namespace

std::string contentOf(const std::filesystem::path& file) {
    const KernelHandle opened =
        openFile(file, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, OPEN_EXISTING);
    if (!opened) {
        if (const DWORD error = ::GetLastError(); !isMissing(error)) {
            refuse("read", file, error);
        }
        return {};
    }
    Sum sum;
    std::vector<BYTE> chunk(chunkBytes);
    DWORD size = 1;
    while (size > 0) {
        if (::ReadFile(opened.get(), chunk.data(), chunkBytes, &size, nullptr) == FALSE) {
            refuse("read", file, ::GetLastError());
        }
        sum.add(chunk, size);
    }
    return sum.hexadecimal();
}

void requireUnused(const std::filesystem::path& file) {
    if (!openFile(file, GENERIC_WRITE | DELETE, 0, OPEN_EXISTING)) {
        if (const DWORD error = ::GetLastError(); !isMissing(error)) {
            refuse("change", file, error);
        }
    }
}

// Not CopyFileW, which would take attributes and the mark of a download along.
void copyFile(const std::filesystem::path& source, const std::filesystem::path& target) {
    const KernelHandle from = openFile(source, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
    if (!from) {
        refuse("read", source, ::GetLastError());
    }
    const KernelHandle to = openFile(target, GENERIC_WRITE, 0, CREATE_ALWAYS);
    if (!to) {
        refuse("write", target, ::GetLastError());
    }
    machineChanged();
    std::vector<BYTE> chunk(chunkBytes);
    for (DWORD size = 1; size > 0;) {
        if (::ReadFile(from.get(), chunk.data(), chunkBytes, &size, nullptr) == FALSE) {
            refuse("read", source, ::GetLastError());
        }
        DWORD written = 0;
        if (::WriteFile(to.get(), chunk.data(), size, &written, nullptr) == FALSE) {
            refuse("write", target, ::GetLastError());
        }
        if (written != size) {
            refuse("write", target, ERROR_DISK_FULL);
        }
    }
    if (::FlushFileBuffers(to.get()) == FALSE) {
        refuse("write", target, ::GetLastError());
    }
    machineChanged();
}

void renameFile(const std::filesystem::path& file, const std::filesystem::path& newName) {
    constexpr DWORD flags = MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH;
    if (::MoveFileExW(file.c_str(), newName.c_str(), flags) == FALSE) {
        refuse("rename", file, ::GetLastError());
    }
    machineChanged();
}

void removeFile(const std::filesystem::path& file) {
    if (::DeleteFileW(file.c_str()) == FALSE) {
        const DWORD error = ::GetLastError();
        if (isMissing(error)) {
            return;
        }
        if (::MoveFileExW(file.c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT) == FALSE) {
            refuse("remove", file, error);
        }
    }
    machineChanged();
}

void createFolder(const std::filesystem::path& folder) {
    if (::CreateDirectoryW(folder.c_str(), nullptr) == FALSE) {
        if (const DWORD error = ::GetLastError(); error != ERROR_ALREADY_EXISTS) {
            refuse("create", folder, error);
        }
        return;
    }
    machineChanged();
}

void removeFolder(const std::filesystem::path& folder) {
    if (::RemoveDirectoryW(folder.c_str()) == FALSE) {
        const DWORD error = ::GetLastError();
        // One that somebody has open goes later; a file of its name is none of ours.
        if (!isMissing(error) && error != ERROR_DIR_NOT_EMPTY && error != ERROR_DIRECTORY &&
            ::MoveFileExW(folder.c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT) == FALSE) {
            refuse("remove", folder, error);
        }
        return;
    }
    machineChanged();
}

} // namespace tovix::install
