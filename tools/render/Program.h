#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace tovix::render {

/// [control] The whole program: `arguments` without the program's name, in UTF-8; the report goes to `out`, the one
/// sentence of a failure to `err`. Returns the exit status.
int runProgram(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err) noexcept;

} // namespace tovix::render
