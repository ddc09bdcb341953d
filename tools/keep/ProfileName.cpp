#include "keep/ProfileName.h"

#include "curves/Refusal.h"
#include "text/Utf.h"

#include <algorithm>
#include <array>
#include <string>

namespace tovix::keep {
namespace {

constexpr std::size_t longestName = 60;

char upper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

/// Characters that end a terminal's patience or a file's name.
bool isForbidden(wchar_t c) {
    constexpr std::wstring_view separators = L"<>:\"/\\|?*";
    return c < 0x20 || (c >= 0x7F && c <= 0x9F) || c == replacementCharacter ||
           separators.find(c) != std::wstring_view::npos;
}

/// Windows takes these names for devices, in every folder and whatever stands after their first dot.
bool isDevice(std::string_view name) {
    constexpr std::array<std::string_view, 6> devices{"CON", "PRN", "AUX", "NUL", "CONIN$", "CONOUT$"};
    constexpr std::array<std::string_view, 2> numbered{"COM", "LPT"};
    constexpr std::array<std::string_view, 3> superscripts{"\xC2\xB9", "\xC2\xB2", "\xC2\xB3"};
    auto stem = name.substr(0, name.find('.'));
    stem = stem.substr(0, stem.find_last_not_of(' ') + 1);
    const auto stemIs = [&stem](std::string_view device) { return sameButForCase(stem, device); };
    const auto stemBegins = [&stem](std::string_view device) { return sameButForCase(stem.substr(0, 3), device); };
    if (std::any_of(devices.begin(), devices.end(), stemIs)) {
        return true;
    }
    if (stem.size() < 4 || std::none_of(numbered.begin(), numbered.end(), stemBegins)) {
        return false;
    }
    const auto number = stem.substr(3);
    return (number.size() == 1 && number[0] >= '0' && number[0] <= '9') ||
           std::find(superscripts.begin(), superscripts.end(), number) != superscripts.end();
}

[[noreturn]] void refuse(std::string_view name, const std::string& why) {
    throw Refusal("\"" + std::string(name) + "\" cannot be the name of a profile: " + why + ".");
}

} // namespace

void checkProfileName(std::string_view name) {
    const std::wstring text = decodeUtf8(name);
    if (text.empty()) {
        throw Refusal("A profile needs a name.");
    }
    if (text.size() > longestName) {
        refuse(name, "it has more than " + std::to_string(longestName) + " characters");
    }
    if (std::any_of(text.begin(), text.end(), isForbidden)) {
        refuse(name, "a name cannot hold < > : \" / \\ | ? * or control characters");
    }
    if (text.front() == L' ' || text.front() == L'.' || text.back() == L' ' || text.back() == L'.') {
        refuse(name, "a name neither begins nor ends with a blank or a dot");
    }
    if (isDevice(name)) {
        refuse(name, "Windows takes it for a device");
    }
}

bool sameButForCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) { return upper(x) == upper(y); });
}

} // namespace tovix::keep
