#include "system/AnsiText.h"

#include <windows.h>

namespace tovix {

std::wstring decodeAnsiText(std::string_view bytes) {
    const int byteCount = static_cast<int>(bytes.size());
    const int length = ::MultiByteToWideChar(CP_ACP, 0, bytes.data(), byteCount, nullptr, 0);
    std::wstring text(static_cast<std::size_t>(length), L'\0');
    ::MultiByteToWideChar(CP_ACP, 0, bytes.data(), byteCount, text.data(), length);
    return text;
}

} // namespace tovix
