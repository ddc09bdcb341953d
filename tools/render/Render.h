#pragma once

#include "render/Options.h"
#include "render/report/Report.h"

namespace tovix::render {

/// Does what the options ask and answers what happened. Throws RenderError; then no sound file has appeared.
Report renderSound(const Options& options);

} // namespace tovix::render
