#pragma once

#include "helpers/SharedConfigMapping.h"
#include "helpers/WinHandles.h"

#include <string>
#include <string_view>

namespace tovix::render {

/// The control application's part for one render: the settings block, held open, and its update event. [control]
class HostSettings {
public:
    /// Opens the block or creates it, with the effect's own security, and writes the text without a signal. Throws
    /// RenderError when neither works.
    explicit HostSettings(std::string_view text);

    /// Rewrites the text and signals once, for one effect.
    void announce(std::string_view text);

    /// Whether the last signal has been taken. True where the system does not tell.
    [[nodiscard]] bool announcementTaken() const noexcept;

    /// The text as it stands, up to its first NUL.
    [[nodiscard]] std::string text() const;

private:
    void write(std::string_view text);

    SharedConfigMapping m_mapping;
    KernelHandle m_hUpdateEvent;
};

} // namespace tovix::render
