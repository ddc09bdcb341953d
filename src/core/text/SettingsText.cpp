#include "text/SettingsText.h"

#include "text/Utf.h"

namespace tovix {

std::wstring decodeLatin1(std::string_view bytes) {
    std::wstring text;
    text.reserve(bytes.size());
    for (const char byte : bytes) {
        text.push_back(static_cast<wchar_t>(static_cast<unsigned char>(byte)));
    }
    return text;
}

std::vector<std::string_view> splitSettingsLines(std::string_view block) {
    std::string_view rest = block.substr(0, settingsBlockBytes);
    rest = rest.substr(0, rest.find('\0'));
    std::vector<std::string_view> lines;
    while (!rest.empty()) {
        const auto end = rest.find('\n');
        std::string_view line = rest.substr(0, end);
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
        if (line.ends_with('\r')) {
            line.remove_suffix(1);
        }
        lines.push_back(line);
    }
    return lines;
}

std::wstring decodeSettingsLine(std::string_view bytes, AnsiDecoder decodeAnsi) {
    auto line = decodeUtf8(bytes);
    return line.find(replacementCharacter) == std::wstring::npos ? line : decodeAnsi(bytes);
}

std::optional<SettingsLine> parseSettingsLine(const std::wstring& line) {
    const auto colon = line.find(L':');
    if (colon == std::wstring::npos) {
        return std::nullopt;
    }
    return SettingsLine{line.substr(0, colon), line.substr(colon + 1)};
}

std::optional<bool> oldApoSetting(const SettingsLine& line) {
    if (line.key == L"EnableOldApo") {
        return true;
    }
    if (line.key == L"#EnableOldApo") {
        return false;
    }
    return std::nullopt;
}

} // namespace tovix
