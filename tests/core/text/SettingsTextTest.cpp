#include "text/SettingsText.h"

#include "text/Utf.h"

#include <gtest/gtest.h>

#include <string>

using namespace tovix;
using namespace std::string_literals;
using Lines = std::vector<std::string_view>;

TEST(SettingsText, LinesEndAtLineFeedsAndTheTextAtTheFirstNulOrThePagesEnd) {
    EXPECT_EQ(splitSettingsLines("a: 1\r\n\nb\rc: 2\r\r\n"), (Lines{"a: 1", "", "b\rc: 2\r"}));
    EXPECT_EQ(splitSettingsLines("a\nb\0c\nd"s), (Lines{"a", "b"}));
    EXPECT_EQ(splitSettingsLines(std::string(256, '\0')), Lines{});
    const std::string full(300, 'x');
    EXPECT_EQ(splitSettingsLines(full), (Lines{std::string_view(full).substr(0, 256)}));
}

TEST(SettingsText, BytesThatAreNoUtf8AreReadInTheSystemsCodePage) {
    const auto codePage = [](std::string_view) { return L"<ansi>"s; };
    const struct {
        std::string bytes;
        std::wstring text;
    } cases[] = {
        {"Boost: 60 dB 1", L"Boost: 60 dB 1"},
        {"gr\xC3\xBC\xC3\x9F\xE2\x82\xAC: 1", L"gr\u00FC\u00DF\u20AC: 1"},
        {"\xF0\x9F\x8E\xB5", L"\U0001F3B5"},
        {"caf\xE9: 1", L"<ansi>"},       // Latin-1
        {"\xC0\xAF", L"<ansi>"},         // overlong
        {"\xED\xA0\x80", L"<ansi>"},     // a surrogate
        {"\xF4\x90\x80\x80", L"<ansi>"}, // beyond the last code point
        {"\xE2\x82", L"<ansi>"},         // cut off
        {"\xEF\xBF\xBD", L"<ansi>"},     // the replacement character itself counts as one
    };
    for (const auto& c : cases) {
        EXPECT_EQ(decodeSettingsLine(c.bytes, codePage), c.text) << c.bytes;
    }
    EXPECT_EQ(decodeSettingsLine("caf\xE9", decodeLatin1), L"caf\u00E9");
    EXPECT_EQ(encodeUtf8(L"\u00FC\u20AC\U0001F3B5"), "\xC3\xBC\xE2\x82\xAC\xF0\x9F\x8E\xB5");
}
