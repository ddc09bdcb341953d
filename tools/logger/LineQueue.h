#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string_view>

namespace tovix::logger {

/// Finished lines on their way to the writer, in one of two fixed buffers; nothing is allocated after construction.
/// [control], one thread at a time: it has no lock.
class LineQueue {
public:
    static constexpr std::size_t capacityBytes = std::size_t{64} * 1024;
    /// Longest line that is kept whole.
    static constexpr std::size_t longestLine = 1024;

    LineQueue();

    /// Adds `head`, `line` with blanks for its control characters, and a line end. A line for which there is no room
    /// is counted and dropped.
    void push(std::string_view head, std::string_view line) noexcept;

    [[nodiscard]] bool empty() const noexcept { return m_length == 0 && m_lost == 0; }

    /// What has been pushed since the last call, to be used before the next.
    struct Batch {
        std::string_view text;
        std::uint32_t lostLines;
    };
    Batch take() noexcept;

private:
    using Buffer = std::array<char, capacityBytes>;
    std::unique_ptr<Buffer> m_pFilling;
    std::unique_ptr<Buffer> m_pTaken;
    std::size_t m_length = 0;
    std::uint32_t m_lost = 0;
};

} // namespace tovix::logger
