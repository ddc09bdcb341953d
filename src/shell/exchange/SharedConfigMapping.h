#pragma once

#include "exchange/SharedConfigNames.h"
#include "system/WinHandles.h"

#include <array>
#include <cstdint>

namespace tovix {

/// Outcome of opening or creating the block; the number stands in log lines.
enum IpcsResult : std::uint32_t {
    IPCS_OK = 0,
    IPCS_OPEN_FAILED = 1,
    IPCS_CREATE_FAILED = 2,
    /// The mapping handle stays in the object.
    IPCS_MAP_FAILED = 3,
    /// The object holds a mapping handle or a view already; nothing was done.
    IPCS_ALREADY_OPEN = 4,
};

/// The settings text as one private copy.
using ConfigText = std::array<char, configDataBytes>;

/// The shared block as one process has it open; unmapped and closed with the object. [control]; not locked.
class SharedConfigMapping {
public:
    /// Opens the block that somebody else has created. A failure leaves its reason in the last error.
    IpcsResult Open() noexcept;

    /// Creates the block, all zero; one of that name that exists already is taken as created. `sa` may be null.
    IpcsResult Create(SECURITY_ATTRIBUTES* sa) noexcept;

    /// Copies the whole block, which another process may be rewriting, once. The view must be mapped.
    void copyTo(ConfigText& text) const noexcept;

    /// Writes the text and its NUL to the start of the block and leaves the bytes after it. The view must be
    /// mapped; `text` must hold a NUL.
    void writeText(const ConfigText& text) noexcept;

private:
    [[nodiscard]] bool isOpen() const noexcept { return m_hMapping != nullptr || m_pView != nullptr; }
    IpcsResult mapView() noexcept;

    KernelHandle m_hMapping;
    MappedView<char> m_pView;
};

} // namespace tovix
