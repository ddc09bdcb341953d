#pragma once

#include <filesystem>
#include <string>

namespace tovix::render {

/// The path that the UTF-8 text names, on every platform.
inline std::filesystem::path pathFromUtf8(const std::string& text) {
    return {std::u8string(text.begin(), text.end())};
}

} // namespace tovix::render
