#pragma once

#include "exchange/SharedConfigMapping.h"
#include "log/Log.h"

#include <cstdint>
#include <string_view>

/// The lines that the exchange of settings writes; each is built only when its level is enabled. The last
/// error of the system is an argument, to be read before anything else is called.
namespace tovix::configLog {

/// The statement that logs, in `function` (Class::Method).
inline LogLocation in(const char* function, std::uint32_t line = __builtin_LINE()) noexcept {
    return {function, "helpers\\ConfigHelper", line};
}

/// An ERROR line: `text`, then the error code.
void error(const LogLocation& location, const void* pObject, std::string_view text, DWORD code) noexcept;

struct BlockFailure {
    std::string_view text;
    DWORD error;
    IpcsResult result;
    /// What stands after the result.
    std::string_view tail;
};

void blockFailure(LogLevel level, const LogLocation& location, const void* pObject,
                  const BlockFailure& failure) noexcept;

} // namespace tovix::configLog
