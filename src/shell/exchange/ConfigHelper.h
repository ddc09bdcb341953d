#pragma once

#include "exchange/ConfigExchange.h"

#include <cstdint>
#include <iosfwd>

namespace tovix {

/// The effect's side of the exchange with its control application: a shared block of 256 bytes of settings
/// text, the event that announces a new text, and the wait for the block where this side can neither open nor
/// create it. [control]; any thread. Nothing here throws or reports a failure: it is logged, and what could
/// not be had is missing.
///
/// Between the processes there is no lock: a read may catch a text that is half rewritten, and the signal that
/// follows the rewriting brings a whole one.
class ApoConfigManager {
public:
    /// Sections and keys of the settings table. Boost: switched on (1), level in tenths of a decibel, second
    /// number of the line. Old effect: wanted (1).
    enum Section : std::int32_t { BoostSection = 0, OldEffectSection = 2 };
    enum Key : std::int32_t { SwitchKey = 0, BoostLevelKey = 1, BoostModeKey = 2 };

    /// Opens the block; or creates it, all zero, and releases who waits for it; or starts a thread that waits
    /// until the other side has created it and then writes this side's settings as text into it.
    ApoConfigManager() noexcept;

    /// Gives everything back. Ends the waiting thread and waits for it, at most 5000 ms; one that takes longer
    /// ends later, on its own, without touching the block.
    ~ApoConfigManager();

    ApoConfigManager(const ApoConfigManager&) = delete;
    ApoConfigManager& operator=(const ApoConfigManager&) = delete;

    /// Appends all 256 bytes of the block, as one copy, to `stream`; nothing while the block is not open.
    void ReadConfigData(std::ostream& stream) const noexcept;

    /// The same into a caller's buffer; false, and nothing is changed, while the block is not open. A stream takes
    /// locale data that the run-time library keeps for good, which a module that is unloaded again must not touch.
    bool ReadConfigData(ConfigText& text) const noexcept;

    /// Writes the boost line and the old-effect line of the settings table into the block and signals.
    void updateSharedData() noexcept;

    /// Writes an entry of the settings table.
    void SetSetting(std::int32_t section, std::int32_t key, std::int32_t value) noexcept;

    /// Reads an entry of the settings table; 0 when there is none.
    [[nodiscard]] std::int32_t GetSetting(std::int32_t section, std::int32_t key) const noexcept;

    /// The update event (auto-reset) to wait on, borrowed for the manager's life. Null only when the system
    /// gives no event at all.
    [[nodiscard]] HANDLE updateEvent() const noexcept;

private:
    /// Shared with the waiting thread, which may outlive the destructor's wait; null when memory has run out.
    ConfigExchange::Reference m_pExchange;
};

} // namespace tovix
