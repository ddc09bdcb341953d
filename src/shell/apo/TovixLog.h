#pragma once

#include "log/Log.h"
#include "platform/ApoTypes.h"

#include <string_view>

namespace tovix {

/// Log lines of the audio processing object. All [control].

/// A place in Tovix's code; the lines of all its files bear the class's source name.
inline LogLocation inTovix(const char* function, std::uint32_t line = __builtin_LINE()) noexcept {
    return {function, "Tovix", line};
}

/// A text that ends in a result code.
inline void logResult(LogLevel level, const LogLocation& location, const void* pObject, std::string_view text,
                      HRESULT hr) noexcept {
    if (logEnabled(level)) {
        LogLine(level, location, pObject).text(text).result(hr).write();
    }
}

/// Appends a format's fields to a line that ends in the label of the first; a frame count goes before the last.
LogLine& appendFormat(LogLine& line, const UNCOMPRESSEDAUDIOFORMAT& format,
                      const UINT32* pFrameCount = nullptr) noexcept;

/// An INFO line of `label`, a format's fields and `end`.
void logFormat(const LogLocation& location, const void* pObject, std::string_view label,
               const UNCOMPRESSEDAUDIOFORMAT& format, std::string_view end) noexcept;

} // namespace tovix
