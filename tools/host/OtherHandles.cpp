#include "host/OtherHandles.h"

#include "system/WinHandles.h"

#include <array>

namespace tovix::control {
namespace {

/// The system's ObjectBasicInformation, which its headers declare in part only.
struct ObjectBasicInformation {
    ULONG attributes;
    ACCESS_MASK grantedAccess;
    ULONG handleCount;
    ULONG pointerCount;
    std::array<ULONG, 10> reserved;
};

using QueryObject = LONG NTAPI(HANDLE hObject, int informationClass, void* pInformation, ULONG size,
                               ULONG* pReturned);

} // namespace

std::optional<std::uint32_t> otherHandles(HANDLE hObject, std::uint32_t ownHandles) noexcept {
    auto* const query = moduleExport<QueryObject>(::GetModuleHandleW(L"ntdll.dll"), "NtQueryObject");
    ObjectBasicInformation information{};
    constexpr int objectBasicInformation = 0;
    if (query == nullptr || query(hObject, objectBasicInformation, &information, sizeof information, nullptr) < 0 ||
        information.handleCount < ownHandles) {
        return std::nullopt;
    }
    return information.handleCount - ownHandles;
}

} // namespace tovix::control
