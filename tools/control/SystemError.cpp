#include "SystemError.h"

#include "helpers/Utf.h"

#include <array>

namespace tovix::control {

std::string describeSystemError(DWORD error) {
    std::array<wchar_t, 512> words{};
    const DWORD length =
        ::FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK,
                         nullptr, error, 0, words.data(), static_cast<DWORD>(words.size()), nullptr);
    std::wstring text(words.data(), length);
    text.erase(text.find_last_not_of(L" .\r\n") + 1);
    const std::string code = "error " + std::to_string(error);
    return text.empty() ? code : encodeUtf8(text) + " (" + code + ")";
}

} // namespace tovix::control
