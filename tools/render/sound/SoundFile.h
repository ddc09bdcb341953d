#pragma once

#include <sndfile.h>

#include <filesystem>
#include <memory>
#include <string>

namespace tovix::render {

// libsndfile's files as owned objects. [control]

struct CloseSoundFile {
    void operator()(SNDFILE* pFile) const noexcept { sf_close(pFile); }
};

using SoundFile = std::unique_ptr<SNDFILE, CloseSoundFile>;

/// libsndfile's open for any path; null on failure; soundError(nullptr) then says why.
SoundFile openSoundFile(const std::filesystem::path& path, int mode, SF_INFO& info);

/// Whether libsndfile, as it is linked here, can write such a file. Its own format check also accepts kinds that it
/// was built without, so this opens a file that goes nowhere.
bool canWriteSound(SF_INFO info);

/// What last went wrong with the file, or with opening one (null), without an end of sentence or line.
std::string soundError(SNDFILE* pFile);

/// The names of a format word's container and encoding, as "WAV (Microsoft), 32 bit float".
std::string formatName(int format);

} // namespace tovix::render
