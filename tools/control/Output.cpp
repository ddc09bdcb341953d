#include "control/Output.h"

#include <CLI/CLI.hpp>

namespace tovix::control {

void refuseHold(const Output& output) {
    if (output.hold) {
        throw CLI::ValidationError("--hold",
                                   "goes with a change of the settings; without one, watch keeps them open");
    }
}

} // namespace tovix::control
