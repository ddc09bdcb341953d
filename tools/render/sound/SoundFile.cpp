#include "render/sound/SoundFile.h"

namespace tovix::render {
namespace {

std::string nameOf(int format) {
    SF_FORMAT_INFO info{};
    info.format = format;
    return sf_command(nullptr, SFC_GET_FORMAT_INFO, &info, sizeof info) == 0 && info.name != nullptr ? info.name
                                                                                                     : "unknown";
}

} // namespace

SoundFile openSoundFile(const std::filesystem::path& path, int mode, SF_INFO& info) {
#ifdef _WIN32
    return SoundFile{sf_wchar_open(path.c_str(), mode, &info)};
#else
    return SoundFile{sf_open(path.c_str(), mode, &info)};
#endif
}

std::string soundError(SNDFILE* pFile) {
    std::string text = sf_strerror(pFile);
    text.erase(text.find_last_not_of(". \r\n") + 1);
    return text;
}

std::string formatName(int format) {
    return nameOf(format & SF_FORMAT_TYPEMASK) + ", " + nameOf(format & SF_FORMAT_SUBMASK);
}

} // namespace tovix::render
