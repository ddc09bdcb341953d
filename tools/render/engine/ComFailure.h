#pragma once

#include "platform/ComEdge.h"
#include "render/ExitStatus.h"

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

/// Takes over the reference that a call has handed out. Throws RenderError with `sentence` when the call failed, or
/// claims success and hands out nothing.
template <class Interface>
ComReference<Interface> requireObject(HRESULT result, void* pObject, const char* sentence) {
    requireSuccess(result, sentence);
    if (pObject == nullptr) {
        throw RenderError(ExitStatus::failure, std::string(sentence) + " (it answers with nothing).");
    }
    return ComReference<Interface>(static_cast<Interface*>(pObject));
}

} // namespace tovix::render
