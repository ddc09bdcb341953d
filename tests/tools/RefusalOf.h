#pragma once

#include "curves/Refusal.h"

#include <gtest/gtest.h>

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

/// Expects an action to be refused for `obstacle`, with a sentence that begins so.
template <class Action, class Obstacle>
void expectRefusal(const Action& action, Obstacle obstacle, const std::string& beginning = "") {
    try {
        action();
        ADD_FAILURE() << "nothing was refused";
    } catch (const RefusalWithStatus<Obstacle>& refusal) {
        EXPECT_EQ(refusal.status(), obstacle) << refusal.what();
        EXPECT_TRUE(std::string(refusal.what()).starts_with(beginning)) << refusal.what();
    }
}

} // namespace tovix::test
