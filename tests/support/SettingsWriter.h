#pragma once

#include "system/WinHandles.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

namespace tovix::test {

/// The control application in this process: owns the settings page and rewrites it.
class SettingsWriter {
public:
    explicit SettingsWriter(std::string_view text)
        : m_mapping(::CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, pageBytes,
                                         L"Global\\TovixConfigData")),
          m_view(static_cast<char*>(::MapViewOfFile(m_mapping.get(), FILE_MAP_ALL_ACCESS, 0, 0, pageBytes))),
          m_event(::CreateEventW(nullptr, FALSE, FALSE, L"Global\\TovixDataUpdate")) {
        write(text);
    }

    /// Rewrites the text without a word to anybody.
    void write(std::string_view text) {
        std::memcpy(m_view.get(), text.data(), text.size());
        m_view.get()[text.size()] = '\0';
    }

    /// Rewrites any bytes of the page.
    void overwrite(std::size_t position, std::string_view bytes) {
        std::memcpy(m_view.get() + position, bytes.data(), std::min(bytes.size(), pageBytes - position));
    }

    [[nodiscard]] std::string text() const { return m_view.get(); }

    void signal() { ::SetEvent(m_event.get()); }

    void change(std::string_view text) {
        write(text);
        signal();
    }

private:
    static constexpr std::size_t pageBytes = 256;

    KernelHandle m_mapping;
    MappedView<char> m_view;
    KernelHandle m_event;
};

} // namespace tovix::test
