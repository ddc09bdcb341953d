#pragma once

#include "chain/ChainBuilder.h"
#include "chain/ChainSlots.h"
#include "exchange/ConfigHelper.h"
#include "memory/RtSection.h"
#include "system/Locks.h"
#include "system/RefCounted.h"
#include "system/WinHandles.h"

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

namespace tovix {

/// What an EffectManager and its parameter-change thread share: the settings, the chain builder, the chains and the
/// token for the pending chain. All [control] but what says [audio].
class ChainRebuilder : public RefCounted<ChainRebuilder> {
public:
    /// `pManager` stands in the log lines only. Throws std::bad_alloc.
    explicit ChainRebuilder(const void* pManager);

    /// Guards every change of the format and of the chains that is not the audio thread's. Recursive; whoever starts
    /// a stream holds it until the stream's thread runs.
    [[nodiscard]] CriticalSection& lock() noexcept { return m_lock; }

    /// Frees all chains, takes the format and builds the first chain. No block is processed meanwhile. Takes the
    /// lock.
    ///
    /// The token is left alone: where a fade was pending it stays given away, and later updates wait until shutdown.
    void startStream(const StreamFormat& format, const GateSwitches& switches) noexcept;

    /// The thread's work: builds a chain after every update, each once the one before has faded in, until `shutDown`
    /// or until a wait fails.
    void rebuildOnUpdates() noexcept;
    /// Ends `rebuildOnUpdates`, before any update that is due as well.
    void shutDown() noexcept;

    /// [audio] Processes a block and returns the token when a pending chain has become current.
    void process(float* output, const float* input, std::uint32_t frameCount) noexcept RT_SECTION;

    /// [audio] Whether the device's previous effect is wanted.
    [[nodiscard]] bool wantsPreviousEffect() const noexcept RT_SECTION;

    /// Whether it is wanted by the settings as they stand now, whether or not a chain was built from them. Takes the
    /// lock.
    bool readPreviousEffectWish() noexcept;

private:
    friend class RefCounted<ChainRebuilder>;
    ~ChainRebuilder() = default;

    /// When the last build began and ended, in units of the performance counter.
    struct BuildTimes {
        std::int64_t start = 0;
        std::int64_t end = 0;
    };

    /// Builds a chain from the present settings and publishes it if it leaves the audio thread enough time; false
    /// when the token was not given away with it.
    bool rebuild() noexcept;
    /// The chain's share of a block's time; nothing, with a line in the log, where that is too much, and when there
    /// was no memory for a chain or is none to find out.
    [[nodiscard]] std::optional<double> affordableShare(const FilterChain* pChain) const noexcept;
    /// Publishes a chain, or, where it and the one that plays take too much together, as in a fade, first one without
    /// filters and keeps it for `publishNext`. False when the token was not given away.
    bool publish(RtPtr<FilterChain> chain, double share) noexcept;
    [[nodiscard]] bool isOnTheWay() noexcept;
    bool publishNext() noexcept;
    void logFormat(const StreamFormat& format) const noexcept;
    [[nodiscard]] bool awaitToken() const noexcept;
    /// [audio]
    void returnToken() noexcept RT_SECTION;

    const void* m_pManager;
    /// With `m_buildTimes` for whoever looks at a build's duration with a debugger; the product does not read them.
    std::int64_t m_counterFrequency;
    ApoConfigManager m_config;
    /// The settings page as last read; keeps its room, so that reading takes no memory.
    std::string m_settingsPage;
    /// Written by control threads, read by the audio thread.
    std::atomic<bool> m_wantsPreviousEffect;
    CriticalSection m_lock;
    /// The token: count 1, maximum 1.
    KernelHandle m_hChainSemaphore;
    /// Manual-reset. Null when the system gives none; the thread then ends at its first wait.
    KernelHandle m_hShutdownEvent;
    ChainBuilder m_builder;
    StreamFormat m_format;
    /// What the chain that was published last takes of a block's time.
    double m_playingShare = 0.0;
    /// A chain that waits until one without filters has faded in, and its share.
    RtPtr<FilterChain> m_nextChain;
    double m_nextShare = 0.0;
    ChainSlots m_slots;
    BuildTimes m_buildTimes;
};

} // namespace tovix
