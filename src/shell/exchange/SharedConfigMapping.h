#pragma once

#include "system/WinHandles.h"
#include "text/Limits.h"

#include <array>
#include <cstdint>

namespace tovix {

/// Names of the kernel objects that the effect and its control application share. Global, because the two run
/// in different logon sessions.

/// The settings page: a page-file-backed mapping of `settingsPageBytes` bytes, the settings text and its NUL first.
inline constexpr const wchar_t* CONFIG_DATA_STRUCT = L"Global\\TovixConfigData";
/// Auto-reset event: the text has been rewritten, whole, before it is signalled.
inline constexpr const wchar_t* CONFIG_DATA_UPDATE_EVENT = L"Global\\TovixDataUpdate";
/// Auto-reset event: the page has been created.
inline constexpr const wchar_t* CONFIG_DATA_CREATE_EVENT = L"Global\\TovixDataCreate";

/// Outcome of opening or creating the page; the number stands in log lines.
enum IpcsResult : std::uint32_t {
    IPCS_OK = 0,
    IPCS_OPEN_FAILED = 1,
    IPCS_CREATE_FAILED = 2,
    /// There is no view of the section, or none that can be read and written. The mapping handle stays in the object.
    IPCS_MAP_FAILED = 3,
    /// The object holds a mapping handle or a view already; nothing was done, not even to the last error.
    IPCS_ALREADY_OPEN = 4,
};

/// The bytes of the settings page as one private copy.
using PageBytes = std::array<char, settingsPageBytes>;

/// The settings page as one process has it open; unmapped and closed with the object. [control]; not locked.
class SharedConfigMapping {
public:
    /// Opens the page that somebody else has created. A failure leaves its reason in the last error.
    IpcsResult Open() noexcept;

    /// Creates the page, all zero; one of that name that exists already is taken as created. `sa` may be null.
    IpcsResult Create(SECURITY_ATTRIBUTES* sa) noexcept;

    /// Copies the whole page, which another process may be rewriting, once. The view must be mapped.
    void copyTo(PageBytes& text) const noexcept;

    /// Writes the text and its NUL to the start of the page and leaves the bytes after it. The view must be
    /// mapped; `text` must hold a NUL.
    void writeText(const PageBytes& text) noexcept;

private:
    [[nodiscard]] bool isOpen() const noexcept { return m_hMapping != nullptr || m_pView != nullptr; }
    [[nodiscard]] bool isUsable() const noexcept;
    IpcsResult mapView() noexcept;

    KernelHandle m_hMapping;
    MappedView<char> m_pView;
};

} // namespace tovix
