// What a tovixctl of the tests does after each change to the machine: at the one that its environment names it is
// ended by force.

#include "install/MachineChanged.h"

#include <windows.h>

#include <array>
#include <cstdlib>

namespace tovix::install {

void machineChanged() {
    static int changes = 0;
    std::array<char, 16> text{};
    ::GetEnvironmentVariableA("TOVIX_END_AT_CHANGE", text.data(), static_cast<DWORD>(text.size()));
    if (++changes == std::atoi(text.data())) {
        constexpr UINT endedByForce = 99;
        ::TerminateProcess(::GetCurrentProcess(), endedByForce);
    }
}

} // namespace tovix::install
