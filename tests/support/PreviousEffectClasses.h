#pragma once

#include <guiddef.h>

#include <cstdint>

namespace tovix::test {

/// What the effects of the library `tovix-previous-effect` do; a class for each.
enum class PreviousEffectKind : std::uint32_t {
    /// Halves its input. Takes a right record of 56 bytes only.
    halving,
    /// The same with a record of 88 bytes, because it has `IAudioSystemEffects2`.
    halvingLonger,
    slow, // takes longer for every call than a block lasts
    /// Halves every second block and marks the others silent, leaving noise in them.
    everySecondSilent,
    unmakable,
    missing, // made with success, but null
    makingThrows,
    queryThrows,
    initializeFails,
    initializeThrows,
    /// Takes 88 bytes only, although it lacks `IAudioSystemEffects2`.
    initializeWantsAnotherSize,
    withoutRealtimeInterface,
    withoutConfigurationInterface,
    /// Gives every interface but that of an unknown with success, but null.
    givesNoInterface,
    /// Accepts a format, but hands out none. Halves, as do all that follow.
    acceptsNothing,
    /// Proposes a format, but hands out none.
    proposesNothing,
    /// Proposes no channels at a rate that is not a number.
    proposesNonsense,
    /// Hands out the format with a success that the interface does not have.
    acceptsWithAnotherCode,
    /// The same without a format.
    acceptsNothingWithAnotherCode,
    negotiationThrows,
    lockFails,
    lockThrows,
    /// Locks with a success that the interface does not have.
    locksWithAnotherCode,
    latencyThrows,
    unlockThrows,
    unlockFails,
    /// Gives the reference back, and then throws.
    releaseThrows,
    /// Throws in its second block, as the platform's compiler would.
    processThrows,
    /// Says that it were a million frames and not valid, and takes the buffers out of both connections.
    processLies,
    count
};

constexpr CLSID previousEffectClass(PreviousEffectKind kind) {
    return {0x5E2D9A10U + static_cast<std::uint32_t>(kind),
            0x4C7B,
            0x4F0E,
            {0x8A, 0x11, 0x3C, 0x5D, 0x7E, 0x9F, 0xA0, 0xB1}};
}

} // namespace tovix::test
