#include "keep/SettingsFile.h"

#include "curves/Refusal.h"
#include "keep/WholeFile.h"

#include <string>

namespace tovix::keep {
namespace {

/// With line ends of Windows, a mark and a few empty lines a text has at most twice the bytes of a settings page.
constexpr std::size_t largestFileBytes = 4096;

std::string textIn(std::string_view bytes) {
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    if (bytes.starts_with(byteOrderMark)) {
        bytes.remove_prefix(byteOrderMark.size());
    }
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (bytes.substr(i, 2) != "\r\n") {
            text += bytes[i];
        }
    }
    text.erase(text.find_last_not_of('\n') + 1);
    return text;
}

} // namespace

std::optional<ChangedSettings> readSettingsFile(const std::filesystem::path& path) {
    const auto bytes = readWholeFile(path, largestFileBytes);
    if (!bytes) {
        return std::nullopt;
    }
    try {
        if (bytes->size() > largestFileBytes) {
            throw Refusal("It is larger than any settings text.");
        }
        return takeText(textIn(*bytes));
    } catch (const Refusal& refusal) {
        throw Refusal("\"" + textOfPath(path) + "\" is refused: " + refusal.what());
    }
}

void writeSettingsFile(const std::filesystem::path& path, std::string_view text) {
    std::string bytes(text);
    if (!bytes.empty() && !bytes.ends_with('\n')) {
        bytes += '\n';
    }
    replaceWholeFile(path, bytes);
}

} // namespace tovix::keep
