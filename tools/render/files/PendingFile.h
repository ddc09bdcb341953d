#pragma once

#include <filesystem>
#include <fstream>
#include <string>

namespace tovix::render {

/// An output that appears under its name only when it is complete. Until `commit` it lies beside it under a hidden
/// name, and the destructor removes it from there. [control]
class PendingFile {
public:
    /// Creates the empty hidden file. Throws RenderError when that fails, or when the final name is that of a folder
    /// or device.
    explicit PendingFile(const std::string& finalName);
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

/// A text file, such as a table, that appears when it is complete. [control]
class PendingText {
public:
    /// Throws RenderError as PendingFile does.
    explicit PendingText(const std::string& finalName);

    /// What is written here goes into the file; `commit` checks whether it arrived.
    [[nodiscard]] std::ostream& stream() noexcept { return m_stream; }

    /// Completes the file under its final name. Throws RenderError when anything could not be written.
    void commit();

private:
    std::string m_name;
    PendingFile m_file;
    std::ofstream m_stream;
};

} // namespace tovix::render
