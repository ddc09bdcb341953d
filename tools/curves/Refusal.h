#pragma once

#include <stdexcept>

namespace tovix {

/// Something that a user asked for and that is not done, because it breaks a rule. [control], any thread. `what()` is
/// one English sentence for the user, in UTF-8. What the system does not allow is a class derived from this one.
class Refusal : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace tovix
