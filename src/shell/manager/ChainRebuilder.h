#pragma once

#include "chain/ChainBuilder.h"
#include "chain/ChainSlots.h"
#include "exchange/ConfigHelper.h"
#include "log/Log.h"
#include "stream/AudioBlock.h"
#include "system/Locks.h"
#include "system/RefCounted.h"
#include "system/WinHandles.h"

#include <atomic>
#include <cstdint>

namespace tovix {

/// What an EffectManager and its parameter-change thread share: the settings, the chain builder, the chains and the
/// token for the pending chain.
class ChainRebuilder : public RefCounted<ChainRebuilder> {
public:
    /// [control] `pManager` stands in the log lines only.
    explicit ChainRebuilder(const void* pManager);

    /// Guards every change of the format and of the chains that is not the audio thread's.
    [[nodiscard]] CriticalSection& lock() noexcept { return m_lock; }

    /// [control] Frees all chains, takes the format and builds the first chain. No block is processed meanwhile.
    /// Takes the lock.
    ///
    /// The token is left alone: where a fade was pending it stays given away, and later updates wait until shutdown.
    void start(const StreamFormat& format, const GateSwitches& switches) noexcept;

    /// [control] Creates the event that ends `rebuildOnUpdates`; null when the system gives none.
    void createShutdownEvent() noexcept;
    /// [control]
    void shutDown() noexcept;

    /// [control] The thread's work: builds a chain after every update, each once the one before has faded in, until
    /// the shutdown event or until a wait fails.
    void rebuildOnUpdates() noexcept;

    /// [audio] Processes a block and returns the token when a pending chain has become current.
    void process(float* output, const float* input, std::uint32_t frameCount) noexcept RT_SECTION;

    /// [audio] Whether the device's previous effect is wanted.
    [[nodiscard]] bool oldApoSetting() const noexcept RT_SECTION;

private:
    friend class RefCounted<ChainRebuilder>;
    ~ChainRebuilder() = default;

    /// When the last build began and ended, in units of the performance counter; for whoever looks with a debugger.
    struct BuildTimes {
        std::int64_t start = 0;
        std::int64_t end = 0;
    };

    /// Builds a chain from the present settings and publishes it; false when the token was not given away with it.
    bool rebuild() noexcept;
    [[nodiscard]] BuiltChain buildFromSettings() noexcept;
    void logFormat(const StreamFormat& format) const noexcept;
    /// Waits for `handle` or the shutdown event; true when it was `handle`.
    [[nodiscard]] bool waitFor(HANDLE handle) const noexcept;

    const void* m_pManager;
    std::int64_t m_counterFrequency = 0;
    ApoConfigManager m_config;
    /// Written by control threads, read by the audio thread.
    std::atomic<bool> m_oldApoSetting;
    CriticalSection m_lock;
    /// The token: count 1, maximum 1.
    KernelHandle m_hChainSemaphore;
    KernelHandle m_hShutdownEvent;
    ChainBuilder m_builder;
    ChainSlots m_slots;
    BuildTimes m_buildTimes;
};

} // namespace tovix
