#pragma once

#include "render/report/Report.h"

#include <iosfwd>

namespace tovix::render {

/// [control] The report for people.
void writeTextReport(std::ostream& out, const Report& report);

} // namespace tovix::render
