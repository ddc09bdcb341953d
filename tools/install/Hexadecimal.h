#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace tovix::install {

/// Bytes as two small hexadecimal digits each, as sums of files and the records of changes have them. [control]

inline std::string hexadecimal(std::span<const std::uint8_t> bytes) {
    constexpr const char* digits = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const std::uint8_t byte : bytes) {
        text += {digits[byte / 16], digits[byte % 16]};
    }
    return text;
}

/// Throws std::invalid_argument for what has no digits.
inline std::vector<std::uint8_t> bytesFrom(const std::string& hexadecimal) {
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i + 1 < hexadecimal.size(); i += 2) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(hexadecimal.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

} // namespace tovix::install
