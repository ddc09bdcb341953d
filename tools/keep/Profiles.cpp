#include "keep/Profiles.h"

#include "curves/Refusal.h"
#include "keep/KeepRefusal.h"
#include "keep/ProfileName.h"
#include "keep/SettingsFile.h"
#include "keep/WholeFile.h"

#include <algorithm>
#include <functional>
#include <system_error>

namespace tovix::keep {
namespace {

constexpr const char* ending = ".txt";

bool isProfileName(const std::string& name) {
    try {
        checkProfileName(name);
        return true;
    } catch (const Refusal&) {
        return false;
    }
}

[[noreturn]] void refuse(const std::filesystem::path& path, const char* what, const std::error_code& error) {
    throw KeepRefusal(Obstacle::fileRefused,
                      "\"" + textOfPath(path) + "\" cannot be " + what + ": " + error.message() + ".");
}

} // namespace

bool Profiles::save(const std::string& name, std::string_view text) {
    checkProfileName(name);
    const auto settings = takeText(text);
    const auto stored = storedName(name);
    if (!stored.empty() && stored != name) {
        throw Refusal("There is a profile \"" + stored + "\"; \"" + name + "\" differs from it in case alone.");
    }
    writeSettingsFile(file(name), settings.text);
    return !stored.empty();
}

ChangedSettings Profiles::load(const std::string& name) const {
    const auto path = existingFile(name);
    auto settings = readSettingsFile(path);
    if (!settings) {
        refuse(path, "read", std::make_error_code(std::errc::no_such_file_or_directory));
    }
    return std::move(*settings);
}

void Profiles::remove(const std::string& name) {
    const auto path = existingFile(name);
    std::error_code error;
    std::filesystem::remove(path, error);
    if (error) {
        refuse(path, "deleted", error);
    }
}

std::vector<std::string> Profiles::names() const {
    std::vector<std::string> names;
    std::error_code error;
    auto entry = std::filesystem::directory_iterator(m_folder, error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        const auto name = textOfPath(entry->path().filename());
        if (name.ends_with(ending)) {
            names.push_back(name.substr(0, name.size() - std::string_view(ending).size()));
        }
    }
    if (error && error != std::errc::no_such_file_or_directory) {
        refuse(m_folder, "read", error);
    }
    names.erase(std::remove_if(names.begin(), names.end(), std::not_fn(isProfileName)), names.end());
    std::sort(names.begin(), names.end());
    return names;
}

std::filesystem::path Profiles::file(const std::string& name) const {
    return m_folder / std::filesystem::path(std::u8string(name.begin(), name.end()) + u8".txt");
}

std::string Profiles::storedName(const std::string& name) const {
    const auto all = names();
    if (std::find(all.begin(), all.end(), name) != all.end()) {
        return name;
    }
    // What letters beyond ASCII have in common is the file system's to say.
    const auto isTwin = [&](const std::string& other) {
        std::error_code ignored;
        return sameButForCase(name, other) || std::filesystem::equivalent(file(name), file(other), ignored);
    };
    const auto twin = std::find_if(all.begin(), all.end(), isTwin);
    return twin == all.end() ? std::string() : *twin;
}

std::filesystem::path Profiles::existingFile(const std::string& name) const {
    checkProfileName(name);
    const auto stored = storedName(name);
    if (stored.empty()) {
        throw KeepRefusal(Obstacle::noProfile, "There is no profile \"" + name + "\".");
    }
    return file(stored);
}

} // namespace tovix::keep
