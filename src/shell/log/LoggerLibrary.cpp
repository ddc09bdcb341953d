#include "log/LoggerLibrary.h"

#include "system/WinHandles.h"

#include <algorithm>
#include <string_view>

namespace tovix {

LoggerLibraryPath loggerLibraryPath() noexcept {
    static constexpr std::wstring_view fileName = L"Logger64.dll";
    LoggerLibraryPath path{};
    const HMODULE hOwnModule = moduleOfAddress(reinterpret_cast<const void*>(&loggerLibraryPath));
    const DWORD length =
        hOwnModule != nullptr ? ::GetModuleFileNameW(hOwnModule, path.data(), modulePathCapacity) : 0;
    const std::wstring_view own(path.data(), length);
    const auto separator = own.find_last_of(L"/\\");
    // A length of the whole buffer means that the path was cut.
    if (length >= modulePathCapacity || separator == std::wstring_view::npos) {
        return {};
    }
    auto* const pTail = path.data() + separator + 1;
    std::fill(pTail, path.data() + path.size(), L'\0');
    fileName.copy(pTail, fileName.size());
    return path;
}

} // namespace tovix
