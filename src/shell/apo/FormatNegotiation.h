#pragma once

#include "log/Log.h"
#include "platform/CBaseAudioProcessingObject.h"

#include <optional>

namespace tovix {

/// One negotiation of an input format, step by step. The caller decides who is asked; this class reads the formats,
/// asks, and writes the log. All [control].
///
/// A step that hands out a media type clears what an earlier one has handed out, or hands out none.
class FormatNegotiation {
public:
    /// The arguments of `IsInputFormatSupported`, borrowed. The opposite format is the output's; null means any. The
    /// other two are not null.
    struct Formats {
        IAudioMediaType* pOpposite;
        IAudioMediaType* pRequested;
        IAudioMediaType** ppSupported;
    };

    FormatNegotiation(const Formats& formats, const FunctionLog& log) noexcept : m_formats(formats), m_log(log) {}

    /// Reads both formats; the failure of either one's media type.
    HRESULT read();

    /// Whether there is an opposite format. Without one the previous effect is not asked: its refusal would tell
    /// nothing about the stream to come, and not every effect expects a null there.
    [[nodiscard]] bool hasOpposite() const noexcept { return m_formats.pOpposite != nullptr; }

    /// The previous effect's decision, or nothing when it fails, hands out no format with its decision, or proposes
    /// one that `base` could not be locked with at any output: then the negotiation goes on without it.
    [[nodiscard]] std::optional<HRESULT> askPreviousEffect(IAudioProcessingObject& previousEffect,
                                                           CBaseAudioProcessingObject& base) const noexcept;

    /// The base's decision, with one more rule: an input with more channels than the effect takes for a known output
    /// gets the output's format proposed.
    HRESULT askBase(CBaseAudioProcessingObject& base) const;

    /// Writes the outcome into the log and returns it; the failure of a proposal that cannot be read.
    [[nodiscard]] HRESULT report(HRESULT decision) const;

private:
    /// The previous effect's bare answer, or a failure instead of one that is of no use.
    HRESULT previousEffectAnswer(IAudioProcessingObject& previousEffect,
                                 CBaseAudioProcessingObject& base) const noexcept;

    Formats m_formats;
    FunctionLog m_log;
    UNCOMPRESSEDAUDIOFORMAT m_requested{};
    UNCOMPRESSEDAUDIOFORMAT m_output{};
};

} // namespace tovix
