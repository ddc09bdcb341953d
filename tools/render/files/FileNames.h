#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace tovix::render {

// Names of files as the command line gives them: UTF-8 on every platform. [control]

/// The path that the text names.
std::filesystem::path pathFromUtf8(const std::string& text);

/// The text that names the path.
std::string textOfPath(const std::filesystem::path& path);

/// The ending of the name in lower case, with its dot, as ".wav"; empty without one.
std::string endingOf(const std::string& name);

/// Throws RenderError (usage) when two of the names, of which empty ones count for nothing, mean one file: outputs
/// would replace each other.
void requireDifferentFiles(const std::vector<std::string>& names);

} // namespace tovix::render
