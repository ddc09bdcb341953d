#include "host/SystemQueries.h"

#include "system/SystemText.h"
#include "system/WinHandles.h"
#include "text/Utf.h"

#include <array>

namespace tovix {
namespace {

// Two calls of ntdll.dll that the platform's documentation mentions but does not promise. There are no others for
// the purpose: nothing documented counts the handles on an object, and every documented look at an auto-reset event
// takes its signal. So they are looked up by name, and without them the count is unknown.

struct ObjectBasicInformation {
    ULONG attributes;
    ACCESS_MASK grantedAccess;
    ULONG handleCount;
    ULONG pointerCount;
    std::array<ULONG, 10> reserved;
};

struct EventBasicInformation {
    int type;
    LONG signalled;
};

/// NtQueryObject and NtQueryEvent. A negative result is a failure.
using Query = LONG NTAPI(HANDLE hObject, int informationClass, void* pInformation, ULONG size, ULONG* pReturned);

/// The basic information, which is the first class of both calls.
template <class Information> std::optional<Information> query(const char* function, HANDLE hObject) noexcept {
    constexpr int basicInformation = 0;
    auto* const pQuery = moduleExport<Query>(::GetModuleHandleW(L"ntdll.dll"), function);
    Information information{};
    if (pQuery == nullptr || pQuery(hObject, basicInformation, &information, sizeof information, nullptr) < 0) {
        return std::nullopt;
    }
    return information;
}

} // namespace

std::string describeSystemError(DWORD error) {
    std::wstring text = systemMessage(error);
    text.erase(text.find_last_not_of(L'.') + 1);
    const std::string code = "error " + std::to_string(error);
    return text.empty() ? code : encodeUtf8(text) + " (" + code + ")";
}

std::wstring ownProgramPath() {
    constexpr std::size_t longestPath = 32'768;
    std::wstring path(longestPath, L'\0');
    path.resize(::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return path;
}

std::optional<std::uint32_t> otherHandles(HANDLE hObject, std::uint32_t ownHandles) noexcept {
    const auto information = query<ObjectBasicInformation>("NtQueryObject", hObject);
    if (!information || information->handleCount < ownHandles) {
        return std::nullopt;
    }
    return information->handleCount - ownHandles;
}

std::optional<bool> isSignalled(HANDLE hEvent) noexcept {
    const auto information = query<EventBasicInformation>("NtQueryEvent", hEvent);
    return information ? std::optional(information->signalled != 0) : std::nullopt;
}

} // namespace tovix
