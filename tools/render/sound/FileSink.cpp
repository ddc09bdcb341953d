#include "render/sound/FileSink.h"

#include "render/ExitStatus.h"
#include "render/files/FilePath.h"
#include "render/sound/SpeakerMask.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>
#include <utility>

namespace tovix::render {
namespace {

/// Beyond this a WAV file's 32-bit lengths may not do.
constexpr std::uint64_t largestWavBytes = 4'000'000'000;

constexpr std::array<std::pair<std::string_view, int>, 12> endings{{{".wav", SF_FORMAT_WAV},
                                                                    {".w64", SF_FORMAT_W64},
                                                                    {".rf64", SF_FORMAT_RF64},
                                                                    {".aif", SF_FORMAT_AIFF},
                                                                    {".aiff", SF_FORMAT_AIFF},
                                                                    {".aifc", SF_FORMAT_AIFF},
                                                                    {".caf", SF_FORMAT_CAF},
                                                                    {".au", SF_FORMAT_AU},
                                                                    {".snd", SF_FORMAT_AU},
                                                                    {".flac", SF_FORMAT_FLAC},
                                                                    {".ogg", SF_FORMAT_OGG},
                                                                    {".oga", SF_FORMAT_OGG}}};

int containerFor(const std::string& path, int inputFormat) {
    std::string ending = pathFromUtf8(path).extension().string();
    std::transform(ending.begin(), ending.end(), ending.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    const auto* const found =
        std::find_if(endings.begin(), endings.end(), [&](const auto& entry) { return entry.first == ending; });
    return found != endings.end() ? found->second : inputFormat & SF_FORMAT_TYPEMASK;
}

/// A WAV file that names its speakers, or is longer than a WAV file can say, is another kind to libsndfile.
int wavKind(const SourceFormat& source, const SinkFormat& format) {
    if (source.frames * format.channels * sizeof(float) > largestWavBytes) {
        return SF_FORMAT_RF64;
    }
    return format.channels > 2 ? SF_FORMAT_WAVEX : SF_FORMAT_WAV;
}

SF_INFO fileInfo(const std::string& path, const SourceFormat& source, const SinkFormat& format) {
    SF_INFO info{};
    info.samplerate = static_cast<int>(source.sampleRateHz);
    info.channels = static_cast<int>(format.channels);
    const int container = containerFor(path, source.fileFormat);
    const bool likeInput = format.samples == SampleFormat::likeInput;
    info.format = (container == SF_FORMAT_WAV ? wavKind(source, format) : container) |
                  (likeInput ? source.fileFormat & SF_FORMAT_SUBMASK : SF_FORMAT_FLOAT);
    if (sf_format_check(&info) == SF_FALSE) {
        throw RenderError(ExitStatus::unwritableOutput,
                          "the output " + path + " cannot be written: a file of its kind does not hold " +
                              std::to_string(format.channels) + " channels of " +
                              (likeInput ? "the input's samples; try another ending."
                                         : "32-bit float samples; try --format input, or a name in .wav."));
    }
    return info;
}

} // namespace

FileSink::FileSink(const std::string& path, const SourceFormat& source, const SinkFormat& format)
    : m_name(path), m_pending(path) {
    SF_INFO info = fileInfo(path, source, format);
    m_kind = formatName(info.format);
    m_file = openSoundFile(m_pending.path(), SFM_WRITE, info);
    if (!m_file) {
        throw RenderError(ExitStatus::unwritableOutput,
                          "the output " + path + " cannot be written: " + soundError(nullptr) + ".");
    }
    sf_command(m_file.get(), SFC_SET_CLIPPING, nullptr, SF_TRUE);
    // It holds the time of day, and the same run shall give the same file.
    sf_command(m_file.get(), SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
    auto channelMap = channelMapOf(format.channelMask, format.channels);
    if (!channelMap.empty()) {
        sf_command(m_file.get(), SFC_SET_CHANNEL_MAP_INFO, channelMap.data(),
                   static_cast<int>(channelMap.size() * sizeof(int)));
    }
}

void FileSink::write(const float* samples, std::size_t frameCount) {
    const auto count = static_cast<sf_count_t>(frameCount);
    if (sf_writef_float(m_file.get(), samples, count) != count) {
        throw RenderError(ExitStatus::unwritableOutput, "the output " + m_name + " cannot be written any further: " +
                                                            soundError(m_file.get()) + ".");
    }
}

void FileSink::commit() {
    if (sf_close(m_file.release()) != SF_ERR_NO_ERROR) {
        throw RenderError(ExitStatus::unwritableOutput, "the output " + m_name + " could not be completed.");
    }
    m_pending.commit();
}

} // namespace tovix::render
