#pragma once

#include "curves/Refusal.h"

#include <string>

namespace tovix::test {

/// The sentence with which an action is refused; "accepted" where it is not.
template <class Action> std::string refusalOf(const Action& action) {
    try {
        action();
    } catch (const Refusal& refusal) {
        return refusal.what();
    }
    return "accepted";
}

} // namespace tovix::test
