#pragma once

#include <chrono>
#include <string>
#include <string_view>

namespace tovix::keep {

/// Decides at each look at the settings page what is to be done about it: bring the last settings back, write new
/// ones down, or nothing. Knows neither page nor file nor clock; `now` counts from any moment. [control], one thread
/// at a time.
///
/// At the first look a page that somebody has set wins: it is newer than the file. One that holds nothing, or what an
/// effect that had to wait for the page writes by itself, gets the last settings. An effect that is slow to do so may
/// write over them, so the same holds for a while after they have been brought back. Afterwards every change is
/// written down, quick ones as one.
class KeepSteps {
public:
    using Time = std::chrono::milliseconds;

    enum class Step { nothing, bringBack, writeDown };

    /// How long a text stands before it is written down, and how long changes wait that do not come to rest.
    static constexpr Time rest{400};
    static constexpr Time longestDelay{3000};
    /// After a write that failed.
    static constexpr Time retryDelay{5000};
    /// An effect needs milliseconds for its own text; a machine that has just started is busy.
    static constexpr Time lateEffects{10000};

    /// `last` is the text of the file; empty where there is none.
    explicit KeepSteps(std::string last) : m_onDisk(std::move(last)) {}

    /// What to do about this text of the page. What is done is told by one of the calls below.
    Step look(std::string_view page, Time now);

    /// The text in the file, which is what is brought back.
    [[nodiscard]] const std::string& onDisk() const noexcept { return m_onDisk; }

    /// The page holds the last settings since `now`.
    void broughtBack(Time now);

    /// The text of the last look is in the file.
    void wroteDown() { m_onDisk = m_seen; }

    /// It is not: the file cannot be written.
    void failedToWrite(Time now) { m_notBefore = now + retryDelay; }

    /// Whether this text, the page's last one, is still to be written down.
    [[nodiscard]] bool isOwed(std::string_view page, Time now) const;

    /// Whether a page's text is nobody's: empty, or what an effect writes by itself.
    static bool isUnset(std::string_view page);

private:
    [[nodiscard]] bool wantsLast(std::string_view page, Time now) const;

    std::string m_onDisk;
    /// The text of the last look.
    std::string m_seen;
    bool m_looked = false;
    Time m_restsSince{};
    Time m_owedSince{};
    Time m_notBefore{};
    Time m_lateUntil{};
};

} // namespace tovix::keep
