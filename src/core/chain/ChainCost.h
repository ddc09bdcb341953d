#pragma once

#include "stream/StreamFormat.h"

#include <cstdint>
#include <optional>

namespace tovix {

class FilterChain;

/// The most that a chain may take of a block's time. The rest is for the audio engine and the other effects.
constexpr double maxBlockShare = 0.7;

/// What a chain takes of the audio thread. Plain values, for any thread.
struct ChainCost {
    /// What one block takes, and how long its sound lasts.
    double blockSeconds = 0.0;
    double availableSeconds = 0.0;

    [[nodiscard]] double share() const noexcept { return blockSeconds / availableSeconds; }
    [[nodiscard]] bool fits() const noexcept { return blockSeconds <= maxBlockShare * availableSeconds; }
};

/// [control] Nanoseconds since some moment; never less than before.
using NanosecondClock = std::int64_t (*)() noexcept;

/// [control] Finds out what blocks of `format.maxFrames` take of `chain`, which was built for `format`; nothing when
/// there is no memory to find out. Not while the chain is processed.
///
/// A trial run of a chain of stand-ins (IFilter::standIn): the chain itself, and whatever its filters share with
/// others, stay as they are. The sound of the trial is loud, so that limiters have to work. Of several tries the
/// least counts, each block of a try by itself, since the machine may be busy. The trial ends as soon as the chain
/// takes half of what it may, an ordinary one so after the first try, and early where it is hopeless.
/// While it lasts it takes as much memory as the chain.
std::optional<ChainCost> measureCost(const FilterChain& chain, const StreamFormat& format,
                                     NanosecondClock clock) noexcept;

} // namespace tovix
