#include "render/sound/SoundFile.h"

#include <algorithm>
#include <cstdio>

namespace tovix::render {
namespace {

/// A file for libsndfile that forgets what is written into it.
struct NowhereFile {
    sf_count_t length = 0;
    sf_count_t position = 0;

    static NowhereFile& of(void* pUser) { return *static_cast<NowhereFile*>(pUser); }
    static sf_count_t getLength(void* pUser) { return of(pUser).length; }
    static sf_count_t tell(void* pUser) { return of(pUser).position; }
    static sf_count_t read(void* /*pBytes*/, sf_count_t /*count*/, void* /*pUser*/) { return 0; }

    static sf_count_t seek(sf_count_t offset, int origin, void* pUser) {
        auto& file = of(pUser);
        const sf_count_t start = origin == SEEK_SET ? 0 : origin == SEEK_CUR ? file.position : file.length;
        return file.position = start + offset;
    }

    static sf_count_t write(const void* /*pBytes*/, sf_count_t count, void* pUser) {
        auto& file = of(pUser);
        file.position += count;
        file.length = std::max(file.length, file.position);
        return count;
    }
};

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

bool canWriteSound(SF_INFO info) {
    NowhereFile nowhere;
    SF_VIRTUAL_IO calls{&NowhereFile::getLength, &NowhereFile::seek, &NowhereFile::read, &NowhereFile::write,
                        &NowhereFile::tell};
    return SoundFile{sf_open_virtual(&calls, SFM_WRITE, &info, &nowhere)} != nullptr;
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
