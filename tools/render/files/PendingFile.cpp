#include "render/files/PendingFile.h"

#include "render/ExitStatus.h"
#include "render/files/FilePath.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <system_error>

#ifdef _WIN32
#include <process.h>
#define getpid _getpid
#else
#include <unistd.h>
#endif

namespace tovix::render {
namespace {

[[noreturn]] void refuse(const std::string& name, const std::string& reason) {
    throw RenderError(ExitStatus::unwritableOutput, "the output " + name + " cannot be written: " + reason + ".");
}

} // namespace

PendingFile::PendingFile(const std::string& finalPath) : m_finalPath(pathFromUtf8(finalPath)), m_path(m_finalPath) {
    std::error_code ignored;
    if (!m_finalPath.has_filename() || std::filesystem::is_directory(m_finalPath, ignored)) {
        refuse(finalPath, "that is a folder");
    }
    if (std::filesystem::exists(m_finalPath, ignored) && !std::filesystem::is_regular_file(m_finalPath, ignored)) {
        refuse(finalPath, "that is no ordinary file");
    }
    const std::string ending = "." + std::to_string(getpid()) + ".part";
    m_path.replace_filename("." + m_finalPath.filename().string() + ending);
    errno = 0;
    if (!std::ofstream(m_path, std::ios::binary)) {
        refuse(finalPath, errno != 0 ? std::strerror(errno) : "its folder takes no file");
    }
}

PendingFile::~PendingFile() {
    if (!m_committed) {
        std::error_code ignored;
        std::filesystem::remove(m_path, ignored);
    }
}

void PendingFile::commit() {
    std::error_code error;
    std::filesystem::rename(m_path, m_finalPath, error);
    if (error) {
        refuse(m_finalPath.string(), error.message());
    }
    m_committed = true;
}

} // namespace tovix::render
