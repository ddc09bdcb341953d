#include "render/sound/OutputKind.h"

#include "curves/Numbers.h"
#include "render/files/FileNames.h"
#include "render/files/ProgramEnd.h"
#include "render/sound/SoundFile.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <vector>

namespace tovix::render {
namespace {

/// Beyond this a WAV file's 32-bit lengths may overflow.
constexpr std::uint64_t largestWavBytes = 4'000'000'000;

/// An ending, its container and, where the ending says more than the container, the encoding.
struct Ending {
    std::string_view text;
    int container;
    int encoding = 0;
};

/// What people use of libsndfile's kinds. One without a header (raw) would lose its rate and channel count.
constexpr std::array<Ending, 14> endings{{{".wav", SF_FORMAT_WAV},
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
                                          {".oga", SF_FORMAT_OGG},
                                          {".opus", SF_FORMAT_OGG, SF_FORMAT_OPUS},
                                          {".mp3", SF_FORMAT_MPEG}}};

/// From the one that loses least.
constexpr std::array<int, 6> encodings{SF_FORMAT_FLOAT,  SF_FORMAT_PCM_24, SF_FORMAT_PCM_16,
                                       SF_FORMAT_VORBIS, SF_FORMAT_OPUS,   SF_FORMAT_MPEG_LAYER_III};

/// A WAV file that names its speakers, or is longer than a WAV file can say, is another kind to libsndfile.
int wavKind(const SourceFormat& source, const SinkFormat& format) {
    if (source.frames * format.channels * sizeof(float) > largestWavBytes) {
        return SF_FORMAT_RF64;
    }
    return format.channels > 2 ? SF_FORMAT_WAVEX : SF_FORMAT_WAV;
}

/// Vorbis and Opus have an order of speakers of their own beyond stereo, into which libsndfile does not bring the
/// channels: the centre would be heard at the right, and the last channel as LFE without its treble.
bool keepsSpeakers(const SF_INFO& info) {
    return (info.format & SF_FORMAT_TYPEMASK) != SF_FORMAT_OGG || info.channels <= 2;
}

/// The encodings that will do, the best one first.
std::vector<int> encodingsFor(const Ending& ending, const SourceFormat& source, const SinkFormat& format) {
    if (format.samples == SampleFormat::likeInput) {
        const int encoding = source.fileFormat & SF_FORMAT_SUBMASK;
        const bool fits = ending.encoding == 0 || ending.encoding == encoding;
        return fits ? std::vector{encoding} : std::vector<int>{};
    }
    return ending.encoding != 0 ? std::vector{ending.encoding} : std::vector(encodings.begin(), encodings.end());
}

std::optional<SF_INFO> kindFor(const Ending& ending, const SourceFormat& source, const SinkFormat& format) {
    const int container = ending.container == SF_FORMAT_WAV ? wavKind(source, format) : ending.container;
    for (const int encoding : encodingsFor(ending, source, format)) {
        SF_INFO info{};
        info.samplerate = static_cast<int>(source.sampleRateHz);
        info.channels = static_cast<int>(format.channels);
        info.format = container | encoding;
        if (keepsSpeakers(info) && canWriteSound(info)) {
            return info;
        }
    }
    return std::nullopt;
}

std::string writableEndings(const SourceFormat& source, const SinkFormat& format) {
    std::string list;
    for (const auto& ending : endings) {
        if (kindFor(ending, source, format)) {
            list += (list.empty() ? "" : ", ") + std::string(ending.text);
        }
    }
    return list;
}

std::string reasonFor(const Ending* pEnding, const std::string& ending, const SourceFormat& source,
                      const SinkFormat& format) {
    if (ending.empty()) {
        return "its name has no ending that says what kind of file it is to be";
    }
    if (pEnding == nullptr) {
        return "the ending " + ending + " names no kind of sound file that this program writes";
    }
    return "this program cannot write a " + ending + " file with " + counted(format.channels, "channel") + " at " +
           std::to_string(source.sampleRateHz) + " Hz" +
           (format.samples == SampleFormat::likeInput ? " and the input's kind of samples" : "");
}

} // namespace

SF_INFO chooseOutputKind(const std::string& name, const SourceFormat& source, const SinkFormat& format) {
    const std::string ending = endingOf(name);
    const auto* const pEnding =
        std::find_if(endings.begin(), endings.end(), [&](const Ending& known) { return known.text == ending; });
    const bool isKnown = pEnding != endings.end();
    if (const auto kind = isKnown ? kindFor(*pEnding, source, format) : std::nullopt) {
        return *kind;
    }
    const std::string list = writableEndings(source, format);
    throw RenderError(ExitStatus::unwritableOutput,
                      "the output " + name +
                          " cannot be written: " + reasonFor(isKnown ? pEnding : nullptr, ending, source, format) +
                          (list.empty() ? "; no ending works, so leave out --format input."
                                        : "; endings that work: " + list + "."));
}

} // namespace tovix::render
