#pragma once

#include <filesystem>
#include <string>

namespace tovix::render {

/// An output that appears under its name only when it is complete: until `commit` it lies beside it under a hidden
/// name of its own, and is removed when this object goes without one.
class PendingFile {
public:
    /// Creates the empty hidden file. Throws RenderError when that cannot be, or when the final name is that of
    /// something other than a file.
    explicit PendingFile(const std::string& finalPath);
    PendingFile(const PendingFile&) = delete;
    PendingFile& operator=(const PendingFile&) = delete;
    ~PendingFile();

    /// Where to write.
    [[nodiscard]] const std::filesystem::path& path() const noexcept { return m_path; }

    /// Gives the file, which must be closed, its final name, replacing what stands there. Throws RenderError.
    void commit();

private:
    std::filesystem::path m_finalPath;
    std::filesystem::path m_path;
    bool m_committed = false;
};

} // namespace tovix::render
