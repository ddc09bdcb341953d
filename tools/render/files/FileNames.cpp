#include "render/files/FileNames.h"

#include "render/files/ProgramEnd.h"

#include <algorithm>

namespace tovix::render {

std::filesystem::path pathFromUtf8(const std::string& text) {
    return {std::u8string(text.begin(), text.end())};
}

std::string textOfPath(const std::filesystem::path& path) {
    const auto text = path.u8string();
    return {text.begin(), text.end()};
}

std::string endingOf(const std::string& name) {
    std::string ending = textOfPath(pathFromUtf8(name).extension());
    // Without the locale's help: endings of sound files are ASCII.
    std::transform(ending.begin(), ending.end(), ending.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return ending;
}

void requireDifferentFiles(const std::vector<std::string>& names) {
    std::vector<std::filesystem::path> paths;
    for (const auto& name : names) {
        if (name.empty()) {
            continue;
        }
        auto path = std::filesystem::weakly_canonical(pathFromUtf8(name));
        if (std::find(paths.begin(), paths.end(), path) != paths.end()) {
            throw RenderError(ExitStatus::usage, name + " is named twice; every file needs a name of its own.");
        }
        paths.push_back(std::move(path));
    }
}

} // namespace tovix::render
