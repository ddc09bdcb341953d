#pragma once

#include <filesystem>
#include <string>

namespace tovix::render {

/// The path that the UTF-8 text names, on every platform.
inline std::filesystem::path pathFromUtf8(const std::string& text) {
    return {std::u8string(text.begin(), text.end())};
}

/// The same back.
inline std::string utf8Text(const std::filesystem::path& path) {
    const auto text = path.u8string();
    return {text.begin(), text.end()};
}

} // namespace tovix::render
