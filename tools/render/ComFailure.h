#pragma once

#include "ExitStatus.h"

#include <windows.h>

#include <charconv>
#include <string>

namespace tovix::render {

/// Throws RenderError with `sentence` and the code when `result` is a failure.
inline void requireSuccess(HRESULT result, const char* sentence) {
    if (FAILED(result)) {
        char digits[8];
        const auto end =
            std::to_chars(std::begin(digits), std::end(digits), static_cast<std::uint32_t>(result), 16).ptr;
        throw RenderError(ExitStatus::failure, std::string(sentence) + " (0x" + std::string(digits, end) + ").");
    }
}

} // namespace tovix::render
