#include "render/Program.h"

#include "render/Job.h"
#include "render/Options.h"
#include "render/Rendering.h"
#include "render/files/ProgramEnd.h"
#include "render/report/JsonReport.h"
#include "render/report/TextReport.h"

#include <exception>
#include <new>
#include <ostream>

namespace tovix::render {
namespace {

void run(const std::vector<std::string>& arguments, std::ostream& out) {
    const auto options = parseOptions(arguments, out);
    if (!options) {
        return;
    }
    const Report report = Rendering(prepareJob(*options)).perform();
    if (options->reportFormat == ReportFormat::json) {
        writeJsonReport(out, report);
    } else if (!options->quiet) {
        writeTextReport(out, report);
    }
    out.flush();
}

int fail(std::ostream& err, ExitStatus status, const char* sentence) {
    err << "tovix-render: " << sentence << '\n';
    return static_cast<int>(status);
}

} // namespace

int runProgram(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err) noexcept {
    try {
        run(arguments, out);
        return static_cast<int>(ExitStatus::success);
    } catch (const RenderError& error) {
        return fail(err, error.status(), error.what());
    } catch (const std::bad_alloc&) {
        return fail(err, ExitStatus::failure, "there is not enough memory.");
    } catch (const std::exception& error) {
        return fail(err, ExitStatus::failure, error.what());
    }
}

} // namespace tovix::render
