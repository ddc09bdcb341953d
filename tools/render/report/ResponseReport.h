#pragma once

#include "render/SettingsPlan.h"
#include "render/files/PendingFile.h"

#include <cstdint>
#include <string>

namespace tovix::render {

/// Writes what the equalizers of the settings shall do to each frequency, and what their filters, as designed, do:
/// rows of the kinds "point" (one per point of the settings) and "response" (from 10 Hz, or less at low rates, to
/// half the sample rate). Several equalizers add up. Without any, or where a design fails and the equalizer lets the
/// sound through, the response is flat.
class ResponseReport {
public:
    /// Writes the pending file. Throws RenderError when it cannot be written.
    ResponseReport(const std::string& path, const Settings& settings, std::uint32_t sampleRateHz);

    /// Gives it its final name. Throws RenderError.
    void commit() { m_pending.commit(); }

private:
    PendingFile m_pending;
};

} // namespace tovix::render
