#include "keep/KeeperInstance.h"

#include "exchange/SecurityHelper.h"
#include "host/SystemQueries.h"
#include "keep/KeepRefusal.h"

#include <string>

namespace tovix::keep {
namespace {

constexpr const wchar_t* mutexName = L"Local\\TovixKeep";
constexpr const wchar_t* stopName = L"Local\\TovixKeepStop";
constexpr const wchar_t* identityName = L"Local\\TovixKeepProcess";

MappedView<DWORD> mapIdentity(HANDLE hMapping, DWORD access) {
    return MappedView<DWORD>(static_cast<DWORD*>(::MapViewOfFile(hMapping, access, 0, 0, sizeof(DWORD))));
}

/// The process that keeps the settings; null where it cannot be found.
KernelHandle openProcess() {
    const KernelHandle mapping(::OpenFileMappingW(FILE_MAP_READ, FALSE, identityName));
    const auto identity = mapping ? mapIdentity(mapping.get(), FILE_MAP_READ) : nullptr;
    return KernelHandle(identity ? ::OpenProcess(SYNCHRONIZE, FALSE, *identity) : nullptr);
}

[[noreturn]] void refuse(const std::string& what) {
    const DWORD error = ::GetLastError();
    throw KeepRefusal(Obstacle::processRefused, what + ": " + describeSystemError(error) + ".");
}

} // namespace

std::optional<KeeperInstance> KeeperInstance::claim() {
    const GlobalObjectSecurity security;
    KeeperInstance instance;
    instance.m_hMutex.reset(::CreateMutexW(security.attributes(), FALSE, mutexName));
    if (!instance.m_hMutex) {
        refuse("Whether the settings are kept already cannot be found out");
    }
    if (::WaitForSingleObject(instance.m_hMutex.get(), 0) == WAIT_TIMEOUT) {
        return std::nullopt;
    }
    // The event comes last: whoever finds it finds the rest.
    instance.m_hIdentity.reset(::CreateFileMappingW(INVALID_HANDLE_VALUE, security.attributes(), PAGE_READWRITE, 0,
                                                    sizeof(DWORD), identityName));
    const auto identity = instance.m_hIdentity ? mapIdentity(instance.m_hIdentity.get(), FILE_MAP_WRITE) : nullptr;
    if (identity) {
        *identity = ::GetCurrentProcessId();
        instance.m_hStop.reset(::CreateEventW(security.attributes(), TRUE, FALSE, stopName));
    }
    if (!instance.m_hStop) {
        refuse("The system does not let this program be found by another");
    }
    ::ResetEvent(instance.m_hStop.get()); // it may be an earlier process's, which somebody still has open
    return instance;
}

bool KeeperInstance::runs() noexcept {
    return KernelHandle(::OpenEventW(SYNCHRONIZE, FALSE, stopName)) != nullptr;
}

bool KeeperInstance::stop() {
    constexpr DWORD longestWaitMs = 10000;
    const KernelHandle stop(::OpenEventW(EVENT_MODIFY_STATE, FALSE, stopName));
    if (!stop) {
        if (::GetLastError() == ERROR_FILE_NOT_FOUND) {
            return false;
        }
        refuse("The program that keeps the settings cannot be reached");
    }
    const KernelHandle process = openProcess();
    ::SetEvent(stop.get());
    if (!process) {
        refuse("The program that keeps the settings is asked to end, but cannot be waited for");
    }
    if (::WaitForSingleObject(process.get(), longestWaitMs) != WAIT_OBJECT_0) {
        throw KeepRefusal(Obstacle::processRefused, "The program that keeps the settings does not end.");
    }
    return true;
}

} // namespace tovix::keep
