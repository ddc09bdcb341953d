#include "system/SystemText.h"

#include "system/WinHandles.h"

namespace tovix {

std::wstring systemMessage(DWORD error) {
    constexpr DWORD flags = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                            FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK;
    wchar_t* pText = nullptr;
    const DWORD length = ::FormatMessageW(flags, nullptr, error, 0, reinterpret_cast<LPWSTR>(&pText), 0, nullptr);
    const LocalMemory<wchar_t> text(pText);
    std::wstring message(text ? std::wstring_view(text.get(), length) : std::wstring_view());
    message.erase(message.find_last_not_of(L" \r\n") + 1);
    return message;
}

std::wstring decodeAnsiText(std::string_view bytes) {
    const int byteCount = static_cast<int>(bytes.size());
    const int length = ::MultiByteToWideChar(CP_ACP, 0, bytes.data(), byteCount, nullptr, 0);
    std::wstring text(static_cast<std::size_t>(length), L'\0');
    ::MultiByteToWideChar(CP_ACP, 0, bytes.data(), byteCount, text.data(), length);
    return text;
}

} // namespace tovix
