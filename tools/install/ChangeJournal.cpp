#include "install/ChangeJournal.h"

#include "install/ChangeSteps.h"
#include "install/InstallRefusal.h"
#include "text/Utf.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <string_view>

namespace tovix::install {
namespace {

constexpr const wchar_t* currentName = L"current";
constexpr const char* makingState = "making";
constexpr const char* finishingState = "finishing";

std::wstring journalKey() {
    return std::wstring(productKey) + L"\\Changes";
}

/// The journal's key and those above it that are the product's, from the outermost.
std::vector<std::wstring> ownKeys() {
    const std::wstring key = journalKey();
    std::vector<std::wstring> keys;
    for (auto end = key.find(L'\\'); end != std::wstring::npos; end = key.find(L'\\', end + 1)) {
        if (end > std::wstring_view(L"SOFTWARE").size()) {
            keys.push_back(key.substr(0, end));
        }
    }
    keys.push_back(key);
    return keys;
}

nlohmann::ordered_json toData(const ChangeRecord& record) {
    auto data = nlohmann::ordered_json::array();
    for (const auto& change : record) {
        data.push_back(install::toData(change));
    }
    return data;
}

ChangeRecord recordFrom(const nlohmann::json& data) {
    ChangeRecord record;
    for (const auto& change : data) {
        record.push_back(changeFrom(change));
    }
    return record;
}

/// What an unfinished command left.
struct Current {
    bool isMaking = false;
    Transaction transaction;
};

Current currentFrom(const nlohmann::json& data) {
    Current current{.isMaking = data.at("state") == makingState,
                    .transaction = {.changes = recordFrom(data.at("changes")), .records = {}}};
    for (const auto& [name, record] : data.at("records").items()) {
        current.transaction.records.emplace(decodeUtf8(name),
                                            record.is_null() ? std::nullopt : std::optional(recordFrom(record)));
    }
    return current;
}

/// Reads one of the journal's values; none where there is no such value.
template <class From>
auto readJournal(const RegistryTree& registry, const std::wstring& name, From from)
    -> std::optional<decltype(from(nlohmann::json()))> {
    const auto data = registry.read(journalKey(), name);
    if (!data) {
        return std::nullopt;
    }
    try {
        return from(nlohmann::json::parse(encodeUtf8(textsOf(*data).value().at(0))));
    } catch (const std::exception&) { // whatever a foreign hand has made of it
        throw InstallRefusal(Obstacle::registryRefused,
                             "What tovixctl has written down in the registry value \"HKLM\\" +
                                 encodeUtf8(journalKey() + L"\\" + name) + "\" cannot be read; nothing was done.");
    }
}

} // namespace

std::string ChangeJournal::recover() {
    const auto current = readJournal(m_registry, currentName, currentFrom);
    if (!current) {
        removeEmptyKeys();
        return {};
    }
    if (current->isMaking) {
        takeBackAll(current->transaction.changes);
        return "An earlier command was interrupted; what it had done is taken back.";
    }
    finish(current->transaction);
    return "An earlier command was interrupted; what it had left is done.";
}

bool ChangeJournal::isInterrupted() const {
    return m_registry.read(journalKey(), currentName).has_value();
}

std::optional<ChangeRecord> ChangeJournal::find(const std::wstring& name) const {
    return readJournal(m_registry, name, recordFrom);
}

std::vector<std::wstring> ChangeJournal::names() const {
    std::vector<std::wstring> names = m_registry.valuesOf(journalKey());
    names.erase(std::remove(names.begin(), names.end(), currentName), names.end());
    return names;
}

void ChangeJournal::carryOut(const Transaction& transaction) {
    if (transaction.changes.empty() && transaction.records.empty()) {
        return;
    }
    openKey();
    writeCurrent(makingState, transaction);
    try {
        for (const auto& change : transaction.changes) {
            make(change, m_registry);
        }
        writeCurrent(finishingState, transaction);
    } catch (const InstallRefusal&) {
        takeBackAll(transaction.changes);
        throw;
    }
    finish(transaction);
}

void ChangeJournal::takeBackAll(const std::vector<MachineChange>& changes) {
    std::for_each(changes.rbegin(), changes.rend(),
                  [this](const MachineChange& change) { takeBack(change, m_registry); });
    m_registry.remove(journalKey(), currentName);
    removeEmptyKeys();
}

void ChangeJournal::finish(const Transaction& transaction) {
    for (const auto& [name, record] : transaction.records) {
        if (record) {
            m_registry.write(journalKey(), name, textData(decodeUtf8(toData(*record).dump())));
        } else {
            m_registry.remove(journalKey(), name);
        }
    }
    for (const auto& change : transaction.changes) {
        install::finish(change);
    }
    m_registry.remove(journalKey(), currentName);
    removeEmptyKeys();
}

void ChangeJournal::writeCurrent(const char* state, const Transaction& transaction) {
    nlohmann::ordered_json data{{"state", state}, {"changes", toData(transaction.changes)}};
    auto& records = data["records"] = nlohmann::ordered_json::object();
    for (const auto& [name, record] : transaction.records) {
        records[encodeUtf8(name)] = record ? toData(*record) : nlohmann::ordered_json(nullptr);
    }
    m_registry.write(journalKey(), currentName, textData(decodeUtf8(data.dump())));
    m_registry.flush(journalKey()); // before what it tells of, should the power fail
}

void ChangeJournal::openKey() {
    for (const auto& key : ownKeys()) {
        if (!m_registry.hasKey(key)) {
            m_registry.createKey(key);
        }
    }
}

void ChangeJournal::removeEmptyKeys() {
    auto keys = ownKeys();
    std::for_each(keys.rbegin(), keys.rend(),
                  [this](const std::wstring& key) { make(KeyChange{.key = key, .comes = false}, m_registry); });
}

} // namespace tovix::install
