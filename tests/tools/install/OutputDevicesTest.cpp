#include "install/OutputDevices.h"

#include "tools/RefusalOf.h"
#include "tools/install/ScratchMachine.h"

#include <gtest/gtest.h>

namespace tovix::test {
namespace {

using namespace install;

TEST(OutputDevices, AUserNamesOneOfThem) {
    ScratchMachine machine;
    const ScratchDevice devices[] = {
        {L"{0D000000-0000-4000-8000-000000000001}", L"Lautsprecher", L"M\x00FCller \x0416", 1},
        {L"{0D000000-0000-4000-8000-000000000002}", L"Headphones", L"USB", 8},
        {L"{0D000000-0000-4000-8000-000000000003}", L"Headphones", L"USB", 1},
        {L"{0D000000-0000-4000-8000-000000000004}", L"Line", L"First", 1},
        {L"{0D000000-0000-4000-8000-000000000005}", L"Line", L"Second", 1},
        {L"{0D000000-0000-4000-8000-000000000006}", L"Line out", L"Third", 4},
        {L"{0D000000-0000-4000-8000-00000000000A}", L"", L"", 2},
    };
    for (const auto& device : devices) {
        device.putInto(machine.registry);
    }
    const auto all = readOutputDevices(machine.registry, devices[2].id);
    ASSERT_EQ(all.size(), std::size(devices));
    const std::pair<const wchar_t*, int> chosen[] = {{L"lautsprecher (m\x00DCLLER \x0436)", 0},
                                                     {L"\x0416", 0},
                                                     {L"headphones", 2},
                                                     {L"{0d000000-0000-4000-8000-000000000002}", 1},
                                                     {L"{0.0.0.00000000}.{0d000000-0000-4000-8000-00000000000a}", 6},
                                                     {L"first", 3},
                                                     {L"Line out", 5}};
    for (const auto& [text, index] : chosen) {
        const OutputDevice& device = chooseDevice(all, text);
        EXPECT_EQ(device.id, devices[index].id);
        EXPECT_EQ(device.isDefault, index == 2);
    }
    for (const auto* const text : {L"Line", L"i"}) {
        expectRefusal([&] { chooseDevice(all, text); }, Obstacle::ambiguousDevice);
    }
    for (const auto* const text : {L"", L"Lautsprecher (USB)"}) {
        expectRefusal([&] { chooseDevice(all, text); }, Obstacle::noDevice);
    }
}

TEST(OutputDevices, AClassIsRegisteredWhereComCanMakeIt) {
    ScratchMachine machine;
    const std::wstring engineKey =
        std::wstring(L"SOFTWARE\\Classes\\AudioEngine\\AudioProcessingObjects\\") + vendorClass;
    const std::wstring classKey = std::wstring(L"SOFTWARE\\Classes\\CLSID\\") + vendorClass;
    const auto name = [&] { return registeredName(machine.registry, vendorClass).value_or(L"none"); };
    machine.put(engineKey, L"FriendlyName", textData(L"Engine's"));
    EXPECT_EQ(name(), L"none");
    machine.put(classKey, L"", textData(L"COM's"));
    machine.makeKeys(classKey + L"\\InprocServer32");
    EXPECT_EQ(name(), L"Engine's");
    machine.registry.remove(engineKey, L"FriendlyName");
    EXPECT_EQ(name(), L"COM's");
    EXPECT_FALSE(registeredName(machine.registry, L""));
}

} // namespace
} // namespace tovix::test
