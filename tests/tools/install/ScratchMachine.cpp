#include "tools/install/ScratchMachine.h"

#include "install/MachineChanged.h"

#include <filesystem>

namespace tovix::test {
namespace {

int changes = 0;
int endAt = 0;

constexpr const wchar_t* scratchPath = L"Software\\TovixTests";

std::wstring freshPath() {
    static int number = 0;
    return std::wstring(scratchPath) + L"\\" + std::to_wstring(::GetCurrentProcessId()) + L"-" +
           std::to_wstring(++number);
}

} // namespace

int endAtChange(int count) {
    endAt = count;
    return std::exchange(changes, 0);
}

ScratchMachine::ScratchMachine() : registry(HKEY_CURRENT_USER, freshPath()) {
    makeKeys(L"SOFTWARE");
}

ScratchMachine::~ScratchMachine() {
    ::RegDeleteTreeW(HKEY_CURRENT_USER, scratchPath);
}

void ScratchMachine::makeKeys(const std::wstring& key) {
    if (const auto end = key.find_last_of(L'\\'); end != std::wstring::npos) {
        makeKeys(key.substr(0, end));
    }
    if (!registry.hasKey(key)) {
        registry.createKey(key);
    }
}

void ScratchMachine::put(const std::wstring& key, const std::wstring& name, const install::RegistryData& data) {
    makeKeys(key);
    registry.write(key, name, data);
}

void collect(const install::RegistryTree& registry, const std::wstring& key, ScratchMachine::Registry& all) {
    auto& values = all[key];
    for (const auto& name : registry.valuesOf(key)) {
        const auto data = registry.read(key, name).value();
        values[name] = {data.type, data.bytes};
    }
    for (const auto& name : registry.keysBelow(key)) {
        collect(registry, key.empty() ? name : key + L'\\' + name, all);
    }
}

std::pair<ScratchMachine::Registry, ScratchMachine::Files> ScratchMachine::all() const {
    std::pair<Registry, Files> all;
    collect(registry, {}, all.first);
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder.path())) {
        const auto name = std::filesystem::relative(entry.path(), folder.path()).wstring();
        all.second[entry.is_directory() ? name + L'/' : name] = entry.is_directory() ? "" : contentOf(entry.path());
    }
    return all;
}

} // namespace tovix::test

namespace tovix::install {

void machineChanged() {
    if (++test::changes == test::endAt) {
        throw test::EndedByForce();
    }
}

} // namespace tovix::install
