#include "install/MachineChange.h"

#include "install/Hexadecimal.h"
#include "install/MachineFiles.h"
#include "text/Utf.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstring>

namespace tovix::install {
namespace {

using nlohmann::json;
using nlohmann::ordered_json;

ordered_json dataOf(const std::optional<RegistryData>& data) {
    return data ? ordered_json{{"type", data->type}, {"bytes", hexadecimal(data->bytes)}} : ordered_json(nullptr);
}

std::optional<RegistryData> registryDataFrom(const json& data) {
    if (data.is_null()) {
        return std::nullopt;
    }
    return RegistryData{.type = data.at("type").get<DWORD>(),
                        .bytes = bytesFrom(data.at("bytes").get_ref<const std::string&>())};
}

std::wstring textFrom(const json& data, const char* name) {
    return decodeUtf8(data.at(name).get_ref<const std::string&>());
}

/// A value as a user reads it.
std::string shown(const std::optional<RegistryData>& data) {
    if (!data) {
        return "(none)";
    }
    if (const auto texts = textsOf(*data)) {
        std::string line;
        for (const auto& text : *texts) {
            line += (line.empty() ? "\"" : ", \"") + encodeUtf8(text) + '"';
        }
        return data->type == REG_MULTI_SZ ? '[' + line + ']' : line.empty() ? "\"\"" : line;
    }
    if (data->type == REG_DWORD && data->bytes.size() == sizeof(DWORD)) {
        DWORD number = 0;
        std::memcpy(&number, data->bytes.data(), sizeof number);
        return std::to_string(number);
    }
    return "type " + std::to_string(data->type) + ' ' + hexadecimal(data->bytes);
}

struct Describe {
    std::string operator()(const KeyChange& change) const {
        return std::string(change.comes ? "create" : "remove") + " key HKLM\\" + encodeUtf8(change.key);
    }
    std::string operator()(const ValueChange& change) const {
        return std::string(change.after ? "set" : "remove") + " HKLM\\" + encodeUtf8(change.key) + " \"" +
               encodeUtf8(change.name) + "\": " + shown(change.before) + " -> " + shown(change.after);
    }
    std::string operator()(const FolderChange& change) const {
        return std::string(change.comes ? "create" : "remove") + " folder " + encodeUtf8(change.folder.wstring());
    }
    std::string operator()(const FileChange& change) const {
        const char* const verb = change.after.empty() ? "remove" : change.before.empty() ? "copy" : "replace";
        return std::string(verb) + " file " + encodeUtf8(change.file.wstring());
    }
};

struct ToData {
    ordered_json operator()(const KeyChange& change) const {
        return {{"what", "key"}, {"key", encodeUtf8(change.key)}, {"comes", change.comes}};
    }
    ordered_json operator()(const ValueChange& change) const {
        return {{"what", "value"},
                {"key", encodeUtf8(change.key)},
                {"name", encodeUtf8(change.name)},
                {"before", dataOf(change.before)},
                {"after", dataOf(change.after)}};
    }
    ordered_json operator()(const FolderChange& change) const {
        return {{"what", "folder"}, {"folder", encodeUtf8(change.folder.wstring())}, {"comes", change.comes}};
    }
    ordered_json operator()(const FileChange& change) const {
        return {{"what", "file"},
                {"file", encodeUtf8(change.file.wstring())},
                {"before", change.before},
                {"after", change.after},
                {"source", encodeUtf8(change.source.wstring())}};
    }
};

/// Adds what takes one change back on the machine as it is.
class TakeBack {
public:
    TakeBack(const RegistryTree& registry, TakingBack& result) : m_registry(registry), m_result(result) {}

    void operator()(const KeyChange& change) const {
        if (m_registry.hasKey(change.key) == change.comes) {
            m_result.changes.emplace_back(KeyChange{.key = change.key, .comes = !change.comes});
        }
    }
    void operator()(const ValueChange& change) const {
        const auto data = m_registry.read(change.key, change.name);
        if (data == change.before) {
            return;
        }
        if (data == change.after && (!change.before || m_registry.hasKey(change.key))) {
            m_result.changes.emplace_back(
                ValueChange{.key = change.key, .name = change.name, .before = data, .after = change.before});
        } else {
            m_result.leftAlone.emplace_back(change);
        }
    }
    void operator()(const FolderChange& change) const {
        if (std::filesystem::is_directory(change.folder) == change.comes) {
            m_result.changes.emplace_back(FolderChange{.folder = change.folder, .comes = !change.comes});
        }
    }
    void operator()(const FileChange& change) const {
        const std::string content = contentOf(change.file);
        if (content == change.after && !content.empty()) {
            m_result.changes.emplace_back(
                FileChange{.file = change.file, .before = content, .after = {}, .source = {}});
        } else if (!content.empty()) {
            m_result.leftAlone.emplace_back(change);
        }
    }

private:
    const RegistryTree& m_registry;
    TakingBack& m_result;
};

} // namespace

std::string describe(const MachineChange& change) {
    return std::visit(Describe{}, change);
}

ordered_json toData(const MachineChange& change) {
    return std::visit(ToData{}, change);
}

MachineChange changeFrom(const json& data) {
    const std::string what = data.at("what").get<std::string>();
    if (what == "key") {
        return KeyChange{.key = textFrom(data, "key"), .comes = data.at("comes").get<bool>()};
    }
    if (what == "value") {
        return ValueChange{.key = textFrom(data, "key"),
                           .name = textFrom(data, "name"),
                           .before = registryDataFrom(data.at("before")),
                           .after = registryDataFrom(data.at("after"))};
    }
    if (what == "folder") {
        return FolderChange{.folder = textFrom(data, "folder"), .comes = data.at("comes").get<bool>()};
    }
    return FileChange{.file = textFrom(data, "file"),
                      .before = data.at("before").get<std::string>(),
                      .after = data.at("after").get<std::string>(),
                      .source = textFrom(data, "source")};
}

TakingBack takingBack(const ChangeRecord& record, const RegistryTree& registry) {
    TakingBack result;
    const TakeBack takeBack(registry, result);
    std::for_each(record.rbegin(), record.rend(), [&](const MachineChange& change) { std::visit(takeBack, change); });
    return result;
}

} // namespace tovix::install
