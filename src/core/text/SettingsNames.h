#pragma once

#include <cstddef>
#include <string_view>

namespace tovix {

/// The name of a setting as wide text, which the effect reads, and as UTF-8, which the tools write. Both end with
/// a NUL behind the text. Constants only, for any thread.
template <std::size_t sizeWithNul> class SettingsName {
public:
    explicit consteval SettingsName(const char (&name)[sizeWithNul]) {
        for (std::size_t i = 0; i < sizeWithNul; ++i) {
            m_narrow[i] = name[i];
            m_wide[i] = static_cast<wchar_t>(name[i]);
        }
    }
    [[nodiscard]] constexpr std::string_view narrow() const noexcept { return {m_narrow, sizeWithNul - 1}; }
    [[nodiscard]] constexpr std::wstring_view wide() const noexcept { return {m_wide, sizeWithNul - 1}; }

private:
    char m_narrow[sizeWithNul]{};
    wchar_t m_wide[sizeWithNul]{};
};

namespace settings {

inline constexpr SettingsName boost{"Boost"};
inline constexpr SettingsName equalizer{"Equalizer"};
inline constexpr SettingsName maximizer{"Maximizer"};
/// The device's previous effect is wanted. A registry value has the same name.
inline constexpr SettingsName enableOldApo{"EnableOldApo"};

/// In front of a line's name, it switches the line off.
inline constexpr char offMark = '#';

} // namespace settings
} // namespace tovix
