#pragma once

#include "memory/RtSection.h"
#include "platform/ApoInterfaces.h"
#include "platform/ForeignReference.h"

#include <atomic>

namespace tovix {

/// The slot for the device's previous effect: its three interfaces, and whether it is locked for processing. All
/// operations are [control], for one thread at a time, but those marked otherwise. The slot calls the previous
/// effect, which any compiler may have built, through `guardedCall`.
///
/// While a stream is locked, blocks may be in flight that hold the real-time interface. An effect that is taken out
/// meanwhile is therefore *retired*: it is not present any more, but stays locked and referenced until the stream is
/// unlocked.
class PreviousEffectSlot {
public:
    PreviousEffectSlot() noexcept = default;
    ~PreviousEffectSlot() { release(); }
    PreviousEffectSlot(const PreviousEffectSlot&) = delete;
    PreviousEffectSlot& operator=(const PreviousEffectSlot&) = delete;

    /// Takes a previous effect into the slot, whatever it held before: its three interfaces, or what it says of the
    /// first that it lacks, and an empty slot. Not while the stream is locked.
    HRESULT fill(IUnknown& previousEffect) noexcept;

    /// Whether it holds an effect that was not taken out.
    [[nodiscard]] bool present() const noexcept { return m_pOldApo && !m_isRetired; }
    /// Borrowed; for calls from outside the slot, through `guardedResult`. Only while present.
    [[nodiscard]] IAudioProcessingObject& apo() const noexcept { return *m_pOldApo; }
    [[nodiscard]] IAudioProcessingObjectConfiguration& config() const noexcept { return *m_pOldApoConfig; }

    /// Whether the previous effect is locked, as the outcome of its locking was given last.
    void setLocked(bool locked) noexcept;
    [[nodiscard]] bool isLocked() const noexcept { return m_isLocked; }
    /// Whether the end of a stream concerns it: it is present, whatever its locking gave, or it was retired while it
    /// was locked.
    [[nodiscard]] bool awaitsUnlock() const noexcept { return present() || m_isLocked; }
    /// Unlocks it and returns what it says. Not while the slot is empty.
    HRESULT unlock() noexcept;

    /// [audio] The previous effect's real-time interface while it is present and locked, else null.
    [[nodiscard]] IAudioProcessingObjectRT* processing() const noexcept RT_SECTION;

    /// [audio] Lets no block after this one reach the previous effect before it is locked again.
    void stopProcessing() noexcept RT_SECTION;

    /// Empties the slot: unlocks the previous effect where it is locked, then gives the references back. Not while a
    /// block may be in flight.
    void release() noexcept;
    /// Takes the previous effect out while blocks may be in flight.
    void retire() noexcept;
    /// Empties the slot of a retired effect; does nothing where there is none.
    void releaseRetired() noexcept;

private:
    // In the order in which the references are given back.
    ForeignReference<IAudioProcessingObject> m_pOldApo;
    ForeignReference<IAudioProcessingObjectRT> m_pOldApoRT;
    ForeignReference<IAudioProcessingObjectConfiguration> m_pOldApoConfig;
    bool m_isLocked = false;
    bool m_isRetired = false;
    /// What the audio thread may call. Written by the control thread; the audio thread only clears it.
    std::atomic<IAudioProcessingObjectRT*> m_pProcessing{nullptr};
};

} // namespace tovix
