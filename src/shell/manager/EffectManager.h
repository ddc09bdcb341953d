#pragma once

#include "chain/ChainSlots.h"
#include "filters/IFilterFactory.h"
#include "memory/RtSection.h"
#include "stream/AudioBlock.h"
#include "system/RefCounted.h"
#include "system/WinHandles.h"

#include <cstdint>

namespace tovix {

class ChainRebuilder;

/// Owns the filter chains of one effect and the thread that rebuilds them whenever the control application announces
/// new settings. Building never happens on the audio thread.
///
/// Life: constructed; `initializeManager` when a stream's format is fixed, any number of times; destroyed. The thread
/// lives from the first `initializeManager` to the destruction.
class EffectManager final : public IOwnEffect {
public:
    /// [control] Opens the exchange with the control application. Throws std::bad_alloc.
    EffectManager();
    /// [control] Ends the thread and waits for it, at most 5000 ms. A thread that takes longer is left to end by
    /// itself; what it uses lives until then.
    ~EffectManager();
    EffectManager(const EffectManager&) = delete;
    EffectManager& operator=(const EffectManager&) = delete;

    /// [control] Frees all chains, builds the first chain of `format` from the present settings, and starts the
    /// thread if there is none. Not while a block is processed. When a chain cannot be built, or takes more than
    /// `maxBlockShare` of a block's time (see ChainCost), the samples pass unchanged until the next update.
    ///
    /// Called while a fade is pending it loses the token that the fade holds: later updates wait until destruction.
    /// That is kept as it is; the current settings still apply.
    void initializeManager(const StreamFormat& format) noexcept;

    /// [audio] Processes one block of interleaved samples; see ChainSlots.
    void process(float* output, const float* input, std::uint32_t frameCount) noexcept override RT_SECTION;

    /// [audio] Whether the device's previous effect is wanted: the registry's switch, then the settings text.
    [[nodiscard]] bool wantsPreviousEffect() const noexcept RT_SECTION;

    /// [control] The same by the settings as they stand now, whether or not a chain was built from them.
    bool readPreviousEffectWish() noexcept;

    /// [control] The switches of the settings gate, taken over at the next `initializeManager`.
    GateSwitches& switches() noexcept { return m_switches; }

private:
    /// [control]
    void startThread() noexcept;
    /// [control]
    static DWORD notificationThread(void* pRebuilder) noexcept;

    /// Shared with the thread; its lock is held for the whole of `initializeManager`.
    RefCounted<ChainRebuilder>::Reference m_pRebuilder;
    GateSwitches m_switches;
    /// Null until the first `initializeManager`, or when no thread could be started.
    KernelHandle m_hThread;
};

} // namespace tovix
