#include "system/ProcessQueries.h"

#include "system/WinHandles.h"

#include <algorithm>
#include <array>

namespace tovix {
namespace {

constexpr bool countsAsVista(std::uint32_t major, std::uint32_t minor) noexcept {
    return major * 10U + minor >= 60U;
}
static_assert(countsAsVista(6, 0) && countsAsVista(10, 0) && !countsAsVista(5, 2));

[[noreturn]] void throwLastError() {
    const std::uint32_t error = ::GetLastError(); // before the throw, which allocates first
    throw error;
}

void require(BOOL succeeded) {
    if (succeeded == FALSE) {
        throwLastError();
    }
}

KernelHandle ownToken(DWORD access) {
    HANDLE hToken = nullptr;
    require(::OpenProcessToken(::GetCurrentProcess(), access, &hToken));
    return KernelHandle(hToken);
}

template <class T> T tokenInformation(HANDLE hToken, TOKEN_INFORMATION_CLASS kind) {
    T information{};
    DWORD sizeBytes = 0;
    require(::GetTokenInformation(hToken, kind, &information, sizeof information, &sizeBytes));
    return information;
}

/// The full token behind a filtered one; none when `hToken` is not filtered.
KernelHandle linkedToken(HANDLE hToken) {
    if (!IsVistaOrLater() ||
        tokenInformation<TOKEN_ELEVATION_TYPE>(hToken, TokenElevationType) != TokenElevationTypeLimited) {
        return nullptr;
    }
    return KernelHandle(tokenInformation<TOKEN_LINKED_TOKEN>(hToken, TokenLinkedToken).LinkedToken);
}

KernelHandle identificationCopy(HANDLE hToken) {
    HANDLE hCopy = nullptr;
    require(::DuplicateToken(hToken, SecurityIdentification, &hCopy));
    return KernelHandle(hCopy);
}

} // namespace

bool IsUserAdmin() {
    const KernelHandle token = ownToken(TOKEN_QUERY | TOKEN_DUPLICATE);
    KernelHandle tested = linkedToken(token.get());
    if (!tested) {
        tested = identificationCopy(token.get());
    }
    std::array<BYTE, SECURITY_MAX_SID_SIZE> administrators{};
    auto sizeBytes = static_cast<DWORD>(administrators.size());
    require(::CreateWellKnownSid(WinBuiltinAdministratorsSid, nullptr, administrators.data(), &sizeBytes));
    BOOL isMember = FALSE;
    require(::CheckTokenMembership(tested.get(), administrators.data(), &isMember));
    return isMember != FALSE;
}

bool IsRunningAsAdmin() {
    SID_IDENTIFIER_AUTHORITY authority = SECURITY_NT_AUTHORITY;
    PSID pAllocated = nullptr;
    require(::AllocateAndInitializeSid(&authority, 2, SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS, 0, 0, 0,
                                       0, 0, 0, &pAllocated));
    const AllocatedSid administrators(pAllocated);
    BOOL isMember = FALSE;
    require(::CheckTokenMembership(nullptr, administrators.get(), &isMember));
    return isMember != FALSE;
}

bool IsProcessElevated() {
    const KernelHandle token = ownToken(TOKEN_QUERY);
    return tokenInformation<TOKEN_ELEVATION>(token.get(), TokenElevation).TokenIsElevated != 0;
}

std::uint32_t GetProcessIntegrityRid() {
    const KernelHandle token = ownToken(TOKEN_QUERY);
    DWORD sizeBytes = 0;
    if (::GetTokenInformation(token.get(), TokenIntegrityLevel, nullptr, 0, &sizeBytes) == FALSE &&
        ::GetLastError() != ERROR_INSUFFICIENT_BUFFER) {
        throwLastError();
    }
    sizeBytes = std::max(sizeBytes, DWORD{sizeof(TOKEN_MANDATORY_LABEL)});
    const LocalMemory<TOKEN_MANDATORY_LABEL> pLabel(
        static_cast<TOKEN_MANDATORY_LABEL*>(::LocalAlloc(LPTR, sizeBytes)));
    if (!pLabel) {
        throwLastError();
    }
    require(::GetTokenInformation(token.get(), TokenIntegrityLevel, pLabel.get(), sizeBytes, &sizeBytes));
    const PSID pSid = pLabel->Label.Sid;
    const bool hasIdentifier = pSid != nullptr && *::GetSidSubAuthorityCount(pSid) > 0;
    if (!hasIdentifier) {
        throw std::uint32_t{0xFFFFFFFF};
    }
    return *::GetSidSubAuthority(pSid, 0);
}

bool IsVistaOrLater() noexcept {
    BYTE* pBuffer = nullptr;
    const NET_API_STATUS status = ::NetWkstaGetInfo(nullptr, 100, &pBuffer);
    const NetBuffer<WKSTA_INFO_100> pInfo(reinterpret_cast<WKSTA_INFO_100*>(pBuffer));
    if (status == NERR_Success && pInfo) {
        return countsAsVista(pInfo->wki100_ver_major, pInfo->wki100_ver_minor);
    }
    OSVERSIONINFOEXW version{};
    auto* const pVersion = reinterpret_cast<OSVERSIONINFOW*>(&version);
    version.dwOSVersionInfoSize = sizeof(OSVERSIONINFOEXW);
    if (::GetVersionExW(pVersion) == FALSE) {
        version.dwOSVersionInfoSize = sizeof(OSVERSIONINFOW);
        if (::GetVersionExW(pVersion) == FALSE) {
            return true;
        }
    }
    return countsAsVista(version.dwMajorVersion, version.dwMinorVersion);
}

bool processIsEnding() noexcept {
    using ShutdownQuery = BOOLEAN NTAPI();
    auto* const pQuery = moduleExport<ShutdownQuery>(::GetModuleHandleW(L"ntdll.dll"), "RtlDllShutdownInProgress");
    return pQuery != nullptr && pQuery() != FALSE;
}

} // namespace tovix
