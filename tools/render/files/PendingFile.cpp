#include "render/files/PendingFile.h"

#include "render/files/FileNames.h"
#include "render/files/ProgramEnd.h"

#include <cerrno>
#include <cstring>
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

PendingFile::PendingFile(const std::string& finalName) : m_finalPath(pathFromUtf8(finalName)), m_path(m_finalPath) {
    std::error_code ignored;
    if (!m_finalPath.has_filename() || std::filesystem::is_directory(m_finalPath, ignored)) {
        refuse(finalName, "that is a folder");
    }
    if (std::filesystem::exists(m_finalPath, ignored) && !std::filesystem::is_regular_file(m_finalPath, ignored)) {
        refuse(finalName, "that is no ordinary file");
    }
    std::filesystem::path hiddenName(".");
    hiddenName += m_finalPath.filename();
    hiddenName += "." + std::to_string(getpid()) + ".part";
    m_path.replace_filename(hiddenName);
    errno = 0;
    if (!std::ofstream(m_path, std::ios::binary)) {
        refuse(finalName, errno != 0 ? std::strerror(errno) : "its folder takes no file");
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
        refuse(textOfPath(m_finalPath), error.message());
    }
    m_committed = true;
}

PendingText::PendingText(const std::string& finalName)
    : m_name(finalName), m_file(finalName), m_stream(m_file.path(), std::ios::binary) {}

void PendingText::commit() {
    m_stream.close();
    if (!m_stream) {
        throw RenderError(ExitStatus::unwritableOutput, "the output " + m_name + " could not be written to its end.");
    }
    m_file.commit();
}

} // namespace tovix::render
