#pragma once

#include "log/IQuelLoggerUser.h"
#include "logger/LineWriter.h"

#include <memory>

namespace tovix::logger {

/// [control], any thread. What the library hands to the effect: writes every line that it is given, and wants the
/// level that the environment variable TOVIX_LOG_LEVEL (0 to 5) or else the effect names.
class DevelopmentLogger final : public IQuelLogger {
public:
    /// Null when nothing is to be logged, or nothing can be.
    static std::unique_ptr<DevelopmentLogger> make(const wchar_t* applicationName,
                                                   std::int32_t offeredLevel) noexcept;

    ~DevelopmentLogger() { m_pWriter->finish(); }
    DevelopmentLogger(const DevelopmentLogger&) = delete;
    DevelopmentLogger& operator=(const DevelopmentLogger&) = delete;

    void* deletingDestructor(std::uint32_t flags) noexcept override;
    void writeLine(const char* line) noexcept override;
    void reserved() noexcept override;
    std::int32_t level() noexcept override { return m_level; }

private:
    DevelopmentLogger(std::shared_ptr<LineWriter> pWriter, std::int32_t level) noexcept
        : m_pWriter(std::move(pWriter)), m_level(level) {}

    std::shared_ptr<LineWriter> m_pWriter;
    std::int32_t m_level;
};

} // namespace tovix::logger
