#include "render/files/ProgramEnd.h"
#include "tools/render/RenderSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <string>
#include <vector>

namespace tovix::render {
namespace {

/// An ending and what libsndfile finds in such a file.
struct Kind {
    std::string ending;
    int container;
    int encoding;
};

/// In the order in which refusals name them.
const std::vector<Kind> kinds{
    {".wav", SF_FORMAT_WAV, SF_FORMAT_FLOAT},   {".w64", SF_FORMAT_W64, SF_FORMAT_FLOAT},
    {".rf64", SF_FORMAT_RF64, SF_FORMAT_FLOAT}, {".aif", SF_FORMAT_AIFF, SF_FORMAT_FLOAT},
    {".aiff", SF_FORMAT_AIFF, SF_FORMAT_FLOAT}, {".aifc", SF_FORMAT_AIFF, SF_FORMAT_FLOAT},
    {".caf", SF_FORMAT_CAF, SF_FORMAT_FLOAT},   {".au", SF_FORMAT_AU, SF_FORMAT_FLOAT},
    {".snd", SF_FORMAT_AU, SF_FORMAT_FLOAT},    {".flac", SF_FORMAT_FLAC, SF_FORMAT_PCM_24},
    {".ogg", SF_FORMAT_OGG, SF_FORMAT_VORBIS},  {".oga", SF_FORMAT_OGG, SF_FORMAT_VORBIS},
    {".opus", SF_FORMAT_OGG, SF_FORMAT_OPUS},   {".mp3", SF_FORMAT_MPEG, SF_FORMAT_MPEG_LAYER_III}};

/// Whether libsndfile was built with this container. Its Windows build here has no codecs of other libraries.
bool isLinked(int container) {
    int count = 0;
    sf_command(nullptr, SFC_GET_FORMAT_MAJOR_COUNT, &count, sizeof count);
    for (int i = 0; i < count; ++i) {
        SF_FORMAT_INFO info{};
        info.format = i;
        sf_command(nullptr, SFC_GET_FORMAT_MAJOR, &info, sizeof info);
        if (info.format == container) {
            return true;
        }
    }
    return false;
}

/// The endings that a refusal must name, but for those in `without`.
std::string workingEndings(const std::vector<std::string>& without = {}) {
    std::string list;
    for (const auto& kind : kinds) {
        if (isLinked(kind.container) && std::find(without.begin(), without.end(), kind.ending) == without.end()) {
            list += (list.empty() ? "" : ", ") + kind.ending;
        }
    }
    return list;
}

TEST(OutputKind, IsTheOneThatTheEndingNamesOrTheOutputIsRefused) {
    const TestFolder folder;
    const auto sound = sineSound(2, 1.5, 440.0, 0.5);
    writeSound(folder.file("in.wav"), sound);
    ASSERT_TRUE(isLinked(SF_FORMAT_WAV));
    auto cases = kinds;
    cases.push_back({".WaV", SF_FORMAT_WAV, SF_FORMAT_FLOAT});
    for (const auto& kind : cases) {
        const std::string name = "out" + kind.ending;
        const auto outcome =
            runRender({folder.file("in.wav"), folder.file(name), "--set", "#Boost:", "--block", "65536"});
        if (!isLinked(kind.container)) {
            EXPECT_EQ(outcome.status, static_cast<int>(ExitStatus::unwritableOutput)) << kind.ending;
            EXPECT_TRUE(outcome.err.ends_with("endings that work: " + workingEndings() + ".\n")) << outcome.err;
            continue;
        }
        ASSERT_EQ(outcome.status, 0) << kind.ending << ": " << outcome.err;
        const auto output = readSound(folder.file(name));
        EXPECT_EQ(output.format & SF_FORMAT_TYPEMASK, kind.container) << kind.ending;
        EXPECT_EQ(output.format & SF_FORMAT_SUBMASK, kind.encoding) << kind.ending;
        // Twice the mean square of a sine is the square of its amplitude.
        const double square =
            std::inner_product(output.samples.begin(), output.samples.end(), output.samples.begin(), 0.0);
        EXPECT_NEAR(2.0 * square / static_cast<double>(output.samples.size()), 0.25, 0.01) << kind.ending;
    }
}

TEST(OutputKind, OfAnEndingThatDoesNotWorkIsRefusedWithThoseThatDo) {
    const TestFolder folder;
    for (const int channels : {2, 6, 12}) {
        writeSound(folder.file(std::to_string(channels) + ".wav"), sineSound(channels, 0.1, 440.0, 0.5));
    }
    auto cd = sineSound(2, 0.1, 440.0, 0.5);
    cd.sampleRateHz = 44100;
    cd.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    writeSound(folder.file("cd.wav"), cd);
    struct Case {
        const char* input;
        const char* output;
        const char* reason;
        std::vector<std::string> refused;
        const char* format = "float";
    };
    // Beyond stereo the channels of an Ogg file would come from the wrong speakers.
    const std::vector<std::string> stereoOnly{".ogg", ".oga", ".opus", ".mp3"};
    const std::vector<std::string> few{".flac", ".ogg", ".oga", ".opus", ".mp3"};
    const std::vector<Case> cases{
        {"2.wav", "out", "its name has no ending", {}},
        {"2.wav", ".wav", "its name has no ending", {}},
        {"2.wav", "out.", "the ending . names no kind", {}},
        {"2.wav", "out.xyz", "the ending .xyz names no kind", {}},
        {"2.wav", "out.wav.m4a", "the ending .m4a names no kind", {}},
        {"6.wav", "out.ogg", "cannot write a .ogg file with 6 channels at 48000 Hz", stereoOnly},
        {"6.wav", "out.mp3", "cannot write a .mp3 file with 6 channels at 48000 Hz", stereoOnly},
        {"12.wav", "out.flac", "cannot write a .flac file with 12 channels at 48000 Hz", few},
        {"cd.wav", "out.opus", "cannot write a .opus file with 2 channels at 44100 Hz;", {".opus"}},
        {"cd.wav", "out.ogg", "at 44100 Hz and the input's kind of samples;", stereoOnly, "input"},
    };
    const auto namesBefore = folder.names();
    for (const auto& c : cases) {
        const auto outcome = runRender({folder.file(c.input), folder.file(c.output), "--format", c.format});
        EXPECT_EQ(outcome.status, static_cast<int>(ExitStatus::unwritableOutput)) << c.output;
        EXPECT_NE(outcome.err.find(c.reason), std::string::npos) << outcome.err;
        EXPECT_TRUE(outcome.err.ends_with("; endings that work: " + workingEndings(c.refused) + ".\n"))
            << outcome.err << workingEndings(c.refused);
    }
    EXPECT_EQ(folder.names(), namesBefore);
}

} // namespace
} // namespace tovix::render
