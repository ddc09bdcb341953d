#include "render/sound/OutputKind.h"

#include "render/files/FileNames.h"
#include "render/files/ProgramEnd.h"

#include <algorithm>
#include <array>
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
    const std::string ending = endingOf(path);
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

} // namespace

SF_INFO chooseOutputKind(const std::string& path, const SourceFormat& source, const SinkFormat& format) {
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

} // namespace tovix::render
