#pragma once

#include "apo/EffectKeys.h"
#include "memory/RtSection.h"
#include "platform/ApoInterfaces.h"
#include "platform/ComEdge.h"

#include <atomic>

namespace tovix {

/// The slot for the device's previous effect: its three interfaces, and whether it is locked for processing. All
/// control operations are for one thread at a time; the audio thread reads `processing` alone.
class OldApoSlot {
public:
    /// [control] Where in the endpoint's properties the class of a previous effect may stand. Whoever is to fill the
    /// slot starts here.
    static const std::array<EffectKey, effectKeyCount>& keys() noexcept;

    OldApoSlot() noexcept = default;
    OldApoSlot(const OldApoSlot&) = delete;
    OldApoSlot& operator=(const OldApoSlot&) = delete;

    /// [control] Takes a previous effect into the slot, whatever it held before: its three interfaces, or
    /// `E_NOINTERFACE` and an empty slot when it lacks one. Not while the stream is locked.
    HRESULT fill(IUnknown& oldApo);

    [[nodiscard]] bool present() const noexcept { return m_held.m_pOldApo != nullptr; }
    /// Borrowed; not null while `present`.
    [[nodiscard]] IAudioProcessingObject& apo() const noexcept { return *m_held.m_pOldApo; }
    [[nodiscard]] IAudioProcessingObjectConfiguration& config() const noexcept { return *m_held.m_pOldApoConfig; }

    /// [control] Follows the outcome of the previous effect's locking.
    void setLocked(bool locked) noexcept;

    /// [audio] The previous effect's real-time interface while it is present and locked, else null.
    [[nodiscard]] IAudioProcessingObjectRT* processing() const noexcept RT_SECTION;

    /// [control] Empties the slot and gives the references back.
    void release() noexcept;
    /// [control] Empties the slot while blocks may be in flight: the references are kept until `giveBackRetired`.
    void retire() noexcept;
    /// [control] No block is in flight any more.
    void giveBackRetired() noexcept;

private:
    /// In the order in which the references are given back.
    struct Interfaces {
        void release() noexcept;

        ComReference<IAudioProcessingObject> m_pOldApo;
        ComReference<IAudioProcessingObjectRT> m_pOldApoRT;
        ComReference<IAudioProcessingObjectConfiguration> m_pOldApoConfig;
    };

    Interfaces m_held;
    Interfaces m_retired;
    std::atomic<IAudioProcessingObjectRT*> m_pProcessing{nullptr};
};

} // namespace tovix
