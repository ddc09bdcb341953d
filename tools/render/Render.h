#pragma once

#include "Options.h"
#include "Report.h"

namespace tovix::render {

/// Does what the options ask and answers what happened. Throws RenderError; then no sound file has appeared.
Report renderSound(const Options& options);

} // namespace tovix::render
