#include "tools/render/RenderSupport.h"

#include "render/Program.h"
#include "render/files/FileNames.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <sstream>
#include <stdexcept>

namespace tovix::render {

std::string TestFolder::file(const std::string& name) const {
    return textOfPath(path() / pathFromUtf8(name));
}

std::vector<std::string> TestFolder::names() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path())) {
        names.push_back(textOfPath(entry.path().filename()));
    }
    std::sort(names.begin(), names.end());
    return names;
}

void writeText(const std::string& path, const std::string& text) {
    test::putContent(pathFromUtf8(path), text);
}

std::vector<std::vector<std::string>> readTable(const std::filesystem::path& path) {
    std::vector<std::vector<std::string>> rows;
    std::istringstream text(test::contentOf(path));
    for (std::string line; std::getline(text, line);) {
        auto& row = rows.emplace_back();
        std::istringstream cells(line + ',');
        for (std::string cell; std::getline(cells, cell, ',');) {
            row.push_back(cell);
        }
    }
    return rows;
}

float Sound::at(std::size_t frame, int channel) const {
    return samples.at(frame * static_cast<std::size_t>(channels) + static_cast<std::size_t>(channel));
}

Sound makeSound(int channels, double seconds, const std::function<double(double, int)>& sampleAt) {
    Sound sound;
    sound.channels = channels;
    const auto frames = std::lround(seconds * sound.sampleRateHz);
    for (long f = 0; f < frames; ++f) {
        for (int c = 0; c < channels; ++c) {
            sound.samples.push_back(static_cast<float>(sampleAt(static_cast<double>(f) / sound.sampleRateHz, c)));
        }
    }
    return sound;
}

Sound sineSound(int channels, double seconds, double hz, double amplitude) {
    return makeSound(channels, seconds,
                     [&](double t, int) { return amplitude * std::sin(2.0 * std::numbers::pi * hz * t); });
}

void writeSound(const std::string& path, const Sound& sound) {
    SF_INFO info{};
    info.samplerate = sound.sampleRateHz;
    info.channels = sound.channels;
    info.format = sound.format;
    SNDFILE* const pFile = sf_open(path.c_str(), SFM_WRITE, &info);
    if (pFile == nullptr) {
        throw std::runtime_error(sf_strerror(nullptr));
    }
    auto channelMap = sound.channelMap;
    sf_command(pFile, SFC_SET_CHANNEL_MAP_INFO, channelMap.data(), static_cast<int>(channelMap.size() * sizeof(int)));
    sf_writef_float(pFile, sound.samples.data(), static_cast<sf_count_t>(sound.frames()));
    sf_close(pFile);
}

Sound readSound(const std::string& path) {
    SF_INFO info{};
    SNDFILE* const pFile = sf_open(path.c_str(), SFM_READ, &info);
    if (pFile == nullptr) {
        throw std::runtime_error(sf_strerror(nullptr));
    }
    Sound sound;
    sound.sampleRateHz = info.samplerate;
    sound.channels = info.channels;
    sound.format = info.format;
    sound.samples.resize(static_cast<std::size_t>(info.frames * info.channels));
    sf_readf_float(pFile, sound.samples.data(), info.frames);
    sound.channelMap.resize(static_cast<std::size_t>(info.channels));
    if (sf_command(pFile, SFC_GET_CHANNEL_MAP_INFO, sound.channelMap.data(),
                   static_cast<int>(sound.channelMap.size() * sizeof(int))) == SF_FALSE) {
        sound.channelMap.clear();
    }
    sf_close(pFile);
    return sound;
}

Outcome runRender(std::vector<std::string> arguments) {
#ifdef _WIN32
    arguments.insert(arguments.begin(), "--core");
#endif
    return runProgramAsIs(arguments);
}

Outcome runProgramAsIs(const std::vector<std::string>& arguments) {
    std::ostringstream out;
    std::ostringstream err;
    const int status = runProgram(arguments, out, err);
    return {status, out.str(), err.str()};
}

} // namespace tovix::render
