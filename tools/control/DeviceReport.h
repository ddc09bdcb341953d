#pragma once

#include "install/ChangeJournal.h"
#include "install/OutputDevices.h"

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <vector>

namespace tovix::control {

/// What tovixctl says of output devices, as text and as data. [control], on the program's only thread; throws
/// InstallRefusal.
class DeviceReport {
public:
    DeviceReport(const install::RegistryTree& registry, const install::ChangeJournal& journal)
        : m_registry(registry), m_journal(journal) {}

    /// All of it, ending in a line feed.
    [[nodiscard]] std::string describe(const std::vector<install::OutputDevice>& devices) const;

    /// "interrupted" and "devices", of which each has "name", "interface", "id", "state", "default", "enhancements",
    /// "rows" (each with "key", "kind", "side", "classes" of "class" and "name"; "classes" is null where the value
    /// has another type than it should have), "attached" (the key, or null), "inUse" (whether the engine runs that
    /// row), "replaced" (a class, or null) and "needsRepair".
    [[nodiscard]] nlohmann::ordered_json data(const std::vector<install::OutputDevice>& devices) const;

private:
    [[nodiscard]] std::string describeOne(const install::OutputDevice& device) const;
    [[nodiscard]] std::string describeRow(const install::EffectRow& row) const;
    [[nodiscard]] std::string describeClass(const std::wstring& classId) const;
    [[nodiscard]] std::string describeAttachment(const install::OutputDevice& device) const;
    [[nodiscard]] nlohmann::ordered_json dataOf(const install::OutputDevice& device) const;
    [[nodiscard]] nlohmann::ordered_json rowData(const install::EffectRow& row) const;
    [[nodiscard]] nlohmann::ordered_json classData(const std::wstring& classId) const;
    [[nodiscard]] bool needsRepair(const install::OutputDevice& device) const;

    const install::RegistryTree& m_registry;
    const install::ChangeJournal& m_journal;
};

} // namespace tovix::control
