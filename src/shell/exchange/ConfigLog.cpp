#include "exchange/ConfigLog.h"

namespace tovix::configLog {

void error(const LogLocation& location, const void* pObject, std::string_view text, DWORD code) noexcept {
    if (logEnabled(LogLevel::Error)) {
        LogLine(LogLevel::Error, location, pObject).text(text).number(std::uint32_t{code}).write();
    }
}

void blockFailure(LogLevel level, const LogLocation& location, const void* pObject,
                  const BlockFailure& failure) noexcept {
    if (logEnabled(level)) {
        LogLine(level, location, pObject)
            .text(failure.text)
            .number(std::uint32_t{failure.error})
            .text(" ipcsRes=")
            .number(std::uint32_t{failure.result})
            .text(failure.tail)
            .write();
    }
}

} // namespace tovix::configLog
