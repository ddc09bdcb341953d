#pragma once

#include "log/Log.h"
#include "platform/ApoInterfaces.h"

namespace tovix {

/// Log lines of the audio processing object. All [control].

/// The log of one of Tovix's functions; the lines of all its files bear the class's source name.
inline FunctionLog logOf(const char* function, const void* pTovix) noexcept {
    return {function, "Tovix", pTovix};
}

/// A format's fields, for a message whose text ends in the label of the first.
struct FormatFields {
    const UNCOMPRESSEDAUDIOFORMAT& format;
    /// The frame count that stands before the last field, or null for none.
    const UINT32* pFrameCount = nullptr;
};
void appendTo(LogLine& line, const FormatFields& fields) noexcept;

} // namespace tovix
