#pragma once

#include <stdexcept>
#include <string>

namespace tovix {

/// Something that a user asked for and that is not done, because it breaks a rule. [control], any thread. `what()` is
/// one English sentence for the user, in UTF-8.
class Refusal : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A refusal that ends its program with a status of its own. [control], any thread.
template <class Status> class RefusalWithStatus : public Refusal {
public:
    RefusalWithStatus(Status status, const std::string& sentence) : Refusal(sentence), m_status(status) {}
    [[nodiscard]] Status status() const noexcept { return m_status; }

private:
    Status m_status;
};

} // namespace tovix
