#include "tools/install/ScratchMachine.h"

#include "install/MachineChanged.h"

#include <gtest/gtest.h>

#include <memory>

namespace tovix::test {
namespace {

/// Nothing that the program catches: nothing is taken back or finished on its way out, as where the process is ended.
struct EndedByForce {};

/// How many changes there are until then; 0 where it does not come.
int changesToEnd = 0;

struct NoEnd {
    void operator()(int* pChangesToEnd) const noexcept { *pChangesToEnd = 0; }
};

/// One process at a time has it.
constexpr const wchar_t* scratchPath = L"Software\\TovixTests";

bool isCutOff(int changes, const std::function<void()>& action) {
    const std::unique_ptr<int, NoEnd> until(&changesToEnd);
    *until = changes;
    try {
        action();
        return false;
    } catch (const EndedByForce&) {
        return true;
    }
}

} // namespace

void collect(const install::RegistryTree& registry, const std::wstring& key, RegistryState& all) {
    auto& values = all[key];
    for (const auto& name : registry.valuesOf(key)) {
        const auto data = registry.read(key, name).value();
        values[name] = {data.type, data.bytes};
    }
    for (const auto& name : registry.keysBelow(key)) {
        collect(registry, key.empty() ? name : key + L'\\' + name, all);
    }
}

FolderState everythingIn(const std::filesystem::path& folder) {
    FolderState all;
    std::error_code none;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder, none)) {
        const auto name = std::filesystem::relative(entry.path(), folder).wstring();
        all[entry.is_directory() ? name + L'/' : name] = entry.is_directory() ? "" : contentOf(entry.path());
    }
    return all;
}

ScratchMachine::ScratchMachine() : registry(HKEY_CURRENT_USER, scratchPath) {
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

std::pair<RegistryState, FolderState> ScratchMachine::all() const {
    RegistryState keys;
    collect(registry, {}, keys);
    return {keys, everythingIn(folder.path())};
}

install::MachinePlan ScratchMachine::carryOut(install::MachinePlan plan) {
    journal.carryOut(plan.transaction);
    return plan;
}

void ScratchMachine::expectAllOrNothing(const std::function<install::MachinePlan()>& plan,
                                        const std::function<void()>& back) {
    const auto before = all();
    carryOut(plan());
    const auto after = all();
    bool isCut = true;
    bool isTakenBack = false;
    bool isFinished = false;
    for (int end = 1; isCut; ++end) {
        if (all() != before) {
            back();
        }
        ASSERT_EQ(all(), before) << "ended at change " << end;
        isCut = isCutOff(end, [this, planned = plan()] { journal.carryOut(planned.transaction); });
        EXPECT_TRUE(isCut || end > 4 || after == before) << "nothing was cut off";
        isCutOff(end % 4, [this] { journal.recover(); });
        isCutOff(0, [this] { journal.recover(); });
        EXPECT_FALSE(journal.isInterrupted());
        ASSERT_TRUE(all() == after || (isCut && all() == before)) << "ended at change " << end;
        isTakenBack |= isCut && all() == before;
        isFinished |= isCut && all() == after;
    }
    EXPECT_TRUE(after == before || (isTakenBack && isFinished));
}

void ScratchDevice::putInto(install::RegistryTree& registry) const {
    const auto properties = install::deviceKey(id) + L"\\Properties";
    registry.createKey(properties);
    registry.write(install::deviceKey(id), L"DeviceState", install::numberData(state));
    registry.write(properties, L"{a45c254e-df1c-4efd-8020-67d146a850e0},2", install::textData(name));
    registry.write(properties, L"{b3f8fa53-0004-438e-9003-51a46e139bfc},6", install::textData(interfaceName));
}

} // namespace tovix::test

namespace tovix::install {

void machineChanged() {
    if (test::changesToEnd > 0 && --test::changesToEnd == 0) {
        throw test::EndedByForce();
    }
}

} // namespace tovix::install
