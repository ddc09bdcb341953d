#include "text/Utf.h"

#include <array>
#include <cstdint>

namespace tovix {
namespace {

constexpr char32_t highSurrogateFirst = 0xD800;
constexpr char32_t lowSurrogateFirst = 0xDC00;
constexpr char32_t surrogateLast = 0xDFFF;
constexpr char32_t supplementaryFirst = 0x10000;
constexpr char32_t codePointLast = 0x10FFFF;

bool isSurrogate(char32_t c) noexcept {
    return c >= highSurrogateFirst && c <= surrogateLast;
}

/// Trailing bytes of a sequence that starts with `lead`, and the smallest code point of that length.
struct Sequence {
    std::size_t trailing;
    char32_t smallest;
    char32_t leadBits;
};

bool startSequence(unsigned char lead, Sequence& sequence) noexcept {
    if (lead < 0x80) {
        sequence = {0, 0, lead};
    } else if (lead >= 0xC2 && lead <= 0xDF) {
        sequence = {1, 0x80, lead & 0x1FU};
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        sequence = {2, 0x800, lead & 0x0FU};
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        sequence = {3, supplementaryFirst, lead & 0x07U};
    } else {
        return false;
    }
    return true;
}

/// Takes one character off `bytes`; the replacement character when it is malformed.
char32_t decodeOne(std::string_view& bytes) noexcept {
    Sequence sequence{};
    const bool started = startSequence(static_cast<unsigned char>(bytes.front()), sequence);
    bytes.remove_prefix(1);
    if (!started) {
        return replacementCharacter;
    }
    char32_t character = sequence.leadBits;
    for (std::size_t i = 0; i < sequence.trailing; ++i) {
        if (bytes.empty() || (static_cast<unsigned char>(bytes.front()) & 0xC0U) != 0x80U) {
            return replacementCharacter;
        }
        character = (character << 6U) | (static_cast<unsigned char>(bytes.front()) & 0x3FU);
        bytes.remove_prefix(1);
    }
    const bool valid = character >= sequence.smallest && character <= codePointLast && !isSurrogate(character);
    return valid ? character : replacementCharacter;
}

void appendWide(std::wstring& text, char32_t character) {
    if (sizeof(wchar_t) == 2 && character >= supplementaryFirst) {
        const char32_t offset = character - supplementaryFirst;
        text.push_back(static_cast<wchar_t>(highSurrogateFirst + (offset >> 10U)));
        text.push_back(static_cast<wchar_t>(lowSurrogateFirst + (offset & 0x3FFU)));
        return;
    }
    text.push_back(static_cast<wchar_t>(character));
}

char32_t takeWide(std::wstring_view& text) noexcept {
    const auto first = static_cast<char32_t>(static_cast<std::make_unsigned_t<wchar_t>>(text.front()));
    text.remove_prefix(1);
    if (!isSurrogate(first)) {
        return first <= codePointLast ? first : static_cast<char32_t>(replacementCharacter);
    }
    if (first < lowSurrogateFirst && !text.empty()) {
        const auto second = static_cast<char32_t>(static_cast<std::make_unsigned_t<wchar_t>>(text.front()));
        if (second >= lowSurrogateFirst && second <= surrogateLast) {
            text.remove_prefix(1);
            return supplementaryFirst + ((first - highSurrogateFirst) << 10U) + (second - lowSurrogateFirst);
        }
    }
    return replacementCharacter;
}

} // namespace

std::wstring decodeUtf8(std::string_view bytes) {
    std::wstring text;
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        appendWide(text, decodeOne(bytes));
    }
    return text;
}

std::size_t encodeUtf8Character(std::wstring_view& text, char* pBytes) noexcept {
    const char32_t character = takeWide(text);
    if (character < 0x80) {
        pBytes[0] = static_cast<char>(character);
        return 1;
    }
    const std::size_t length = character < 0x800 ? 2 : character < supplementaryFirst ? 3 : 4;
    static constexpr std::array<unsigned char, 5> leadMarks{0, 0, 0xC0, 0xE0, 0xF0};
    for (std::size_t i = length - 1; i > 0; --i) {
        pBytes[i] = static_cast<char>(0x80U | ((character >> (6U * (length - 1 - i))) & 0x3FU));
    }
    pBytes[0] = static_cast<char>(leadMarks[length] | (character >> (6U * (length - 1))));
    return length;
}

std::string encodeUtf8(std::wstring_view text) {
    std::string bytes;
    bytes.reserve(text.size());
    std::array<char, utf8MaxBytes> encoded{};
    while (!text.empty()) {
        bytes.append(encoded.data(), encodeUtf8Character(text, encoded.data()));
    }
    return bytes;
}

} // namespace tovix
