#include "render/engine/DllEngine.h"

#include "chain/ChainSlots.h"
#include "render/engine/CoreEngine.h"

#include <algorithm>
#include <chrono>
#include <iostream>
#include <utility>

namespace tovix::render {
namespace {

using Clock = std::chrono::steady_clock;

/// How long to give the effect to build a chain of these settings, from a trial build in this process. Ten times the
/// trial, since the effect's thread may share its processor with others; and 200 ms at least, in which a thread that
/// has been woken gets its turn on a busy machine.
Clock::duration timeForBuild(const EngineFormat& format, const std::string& settings) {
    constexpr double trialBuilds = 10.0;
    constexpr double shortestMs = 200.0;
    CoreEngine trial;
    trial.open(format, settings);
    const std::chrono::duration<double, std::milli> time(
        std::max(shortestMs, trialBuilds * trial.statistics().firstBuildMs));
    return std::chrono::duration_cast<Clock::duration>(time);
}

} // namespace

DllEngine::DllEngine(EngineChoice choice) : m_choice(std::move(choice)) {}

DllEngine::~DllEngine() {
    release();
}

void DllEngine::open(const EngineFormat& format, std::string_view settings) {
    close();
    m_format = format;
    m_crossfadeFrames = crossfadeFramesAt(static_cast<float>(format.sampleRateHz));
    m_statistics = {};
    // These first: settings are not touched for a file that does not hold the effect.
    m_module.emplace(m_choice);
    const DeviceProperties device(m_choice.previousEffect);
    m_description = m_module->description();
    if (m_choice.previousEffect) {
        m_description += ", behind the previous effect " + *m_choice.previousEffect;
    }
    m_settings.emplace(settings, m_choice.changesSettings);
    m_knownText = settings;
    m_stream.emplace(*m_module->createEffect(), device, format);
    m_statistics.firstBuildMs = m_stream->lockMs();
}

void DllEngine::close() {
    if (!release()) {
        throw RenderError(ExitStatus::failure, "the effect's library says that it is still in use.");
    }
}

bool DllEngine::release() noexcept {
    m_stream.reset();
    const bool free = !m_module || m_module->canUnload();
    m_module.reset();
    m_settings.reset();
    m_waitingSettings.reset();
    m_foreignText = false;
    m_fadeFramesLeft = 0;
    m_framesPlayed = 0;
    return free;
}

void DllEngine::changeSettings(std::string_view settings) {
    m_waitingSettings = settings;
}

void DllEngine::prepareBlock() {
    if (m_waitingSettings && m_fadeFramesLeft == 0) {
        announce(*std::exchange(m_waitingSettings, std::nullopt));
    }
    if (m_choice.watch) {
        watchSettings();
    }
}

void DllEngine::announce(const std::string& settings) {
    const auto buildTime = timeForBuild(m_format, settings);
    m_settings->announce(settings);
    m_knownText = settings;
    waitUntilSignalIsTaken();
    Interruption::sleepUntil(Clock::now() + buildTime);
    m_fadeFramesLeft = m_crossfadeFrames;
    ++m_statistics.rebuildCount;
}

void DllEngine::waitUntilSignalIsTaken() {
    // Its thread looks for a signal after every build, and no build takes as long as this.
    constexpr std::chrono::seconds limit(5);
    constexpr std::chrono::milliseconds interval(1);
    const auto end = Clock::now() + limit;
    while (!m_settings->announcementTaken()) {
        if (Clock::now() >= end) {
            throw RenderError(ExitStatus::failure, "the effect does not take the change of settings.");
        }
        Interruption::sleepUntil(Clock::now() + interval);
    }
}

void DllEngine::watchSettings() {
    const std::string text = m_settings->text();
    if (text == m_knownText) {
        return;
    }
    m_knownText = text;
    m_foreignText = true;
    std::string oneLine = text;
    std::replace(oneLine.begin(), oneLine.end(), '\n', '|');
    std::cerr << "\nat " << static_cast<double>(m_framesPlayed) / m_format.sampleRateHz << " s: " << oneLine << '\n';
}

void DllEngine::process(const float* input, float* output) noexcept {
    m_stream->process(input, output);
    m_fadeFramesLeft -= std::min(m_fadeFramesLeft, m_format.blockFrames);
    m_framesPlayed += m_format.blockFrames;
}

bool DllEngine::isSettled() const noexcept {
    return m_fadeFramesLeft == 0 && !m_waitingSettings && !m_foreignText;
}

} // namespace tovix::render
