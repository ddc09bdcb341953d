#pragma once

#include "render/engine/SettingsPlan.h"
#include "render/files/PendingFile.h"

#include <cstdint>
#include <string>

namespace tovix::render {

/// Writes what the equalizers of the settings are to do to each frequency, and what their filters, as designed, do:
/// rows of the kinds "point" (one per point of the settings) and "response" (from 10 Hz, or less at low rates, to
/// half the sample rate). Several equalizers add up. Without any, or where a design fails and the equalizer lets the
/// sound through, the response is flat. [control]
class ResponseReport {
public:
    /// Designs the filters and writes the table. Throws RenderError when the file cannot be created.
    ResponseReport(const std::string& name, const Settings& settings, std::uint32_t sampleRateHz);

    /// Completes the file under its final name. Throws RenderError.
    void commit() { m_file.commit(); }

private:
    PendingText m_file;
};

} // namespace tovix::render
