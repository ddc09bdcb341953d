#pragma once

#include "render/report/Report.h"

#include <iosfwd>

namespace tovix::render {

/// [control] The report for programs: one JSON object. A figure that was not measured is null.
void writeJsonReport(std::ostream& out, const Report& report);

} // namespace tovix::render
