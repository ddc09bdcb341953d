#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tovix {

/// Wide text is UTF-16 where wchar_t has 16 bits and UTF-32 where it has 32; all functions here are [control].

/// What stands for a byte or code unit that encodes nothing.
constexpr wchar_t replacementCharacter = L'\xFFFD';

/// Bytes of the longest encoded character.
constexpr std::size_t utf8MaxBytes = 4;

/// Decodes UTF-8; every maximal malformed run becomes one replacement character.
std::wstring decodeUtf8(std::string_view bytes);

/// Encodes the first character of `text` (not empty) into `pBytes`, room for `utf8MaxBytes`, takes it off `text`
/// and returns the number of bytes. A lone surrogate is encoded as the replacement character.
std::size_t encodeUtf8Character(std::wstring_view& text, char* pBytes) noexcept;

/// Encodes all of `text` in the same way.
std::string encodeUtf8(std::wstring_view text);

} // namespace tovix
