#pragma once

#include <stdexcept>

namespace tovix {

/// Something that a user asked for and that is not done, because it breaks a rule. [control], any thread. `what()` is
/// one English sentence for the user, in UTF-8. Refusals that end a program with a status of their own, and those of
/// the system, are derived from it.
class Refusal : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace tovix
