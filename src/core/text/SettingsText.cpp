#include "text/SettingsText.h"

#include "text/Limits.h"
#include "text/SettingsNames.h"
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

std::vector<std::string_view> splitSettingsLines(std::string_view page) {
    std::string_view rest = page.substr(0, settingsPageBytes);
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

std::optional<bool> previousEffectSetting(const SettingsLine& line) {
    std::wstring_view name = line.key;
    const bool off = name.starts_with(settings::offMark);
    name.remove_prefix(off ? 1 : 0);
    return name == settings::enableOldApo.wide() ? std::optional{!off} : std::nullopt;
}

std::optional<bool> previousEffectSetting(std::string_view page, AnsiDecoder decodeAnsi) {
    std::optional<bool> last;
    for (const auto bytes : splitSettingsLines(page)) {
        if (const auto line = parseSettingsLine(decodeSettingsLine(bytes, decodeAnsi))) {
            const auto setting = previousEffectSetting(*line);
            last = setting ? setting : last;
        }
    }
    return last;
}

} // namespace tovix
