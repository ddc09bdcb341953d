#include "render/Rendering.h"

#include "render/engine/CoreEngine.h"
#include "render/report/ProgressBar.h"

#ifdef _WIN32
#include "render/engine/DllEngine.h"
#endif

#include <algorithm>
#include <utility>

namespace tovix::render {
namespace {

SinkFormat sinkFormat(const Job& job) {
    return {.samples = job.options.sampleFormat,
            .channels = job.format.outputChannels,
            .channelMask = job.format.outputMask};
}

TraceFormat traceFormat(const Job& job) {
    return {.sampleRateHz = job.format.sampleRateHz,
            .inputChannels = job.format.inputChannels,
            .outputChannels = job.format.outputChannels,
            .blockFrames = job.format.blockFrames,
            .frames = job.sound.frames};
}

std::unique_ptr<IEngine> makeEngine([[maybe_unused]] const Job& job) {
#ifdef _WIN32
    if (!job.options.engine.core) {
        EngineChoice choice = job.options.engine;
        choice.changesSettings = !job.plan.changes.empty();
        return std::make_unique<DllEngine>(choice);
    }
#endif
    return std::make_unique<CoreEngine>();
}

} // namespace

Rendering::Rendering(Job job)
    : m_job(std::move(job)), m_sink(m_job.options.outputPath, m_job.sound, sinkFormat(m_job)),
      m_engine(makeEngine(m_job)), m_limiter(m_job.format, m_job.options.engine.previousEffect.has_value()),
      m_before(m_job.format.inputChannels, m_job.format.inputMask, m_job.format.sampleRateHz),
      m_after(m_job.format.outputChannels, m_job.format.outputMask, m_job.format.sampleRateHz),
      m_input(std::size_t{m_job.format.blockFrames} * m_job.format.inputChannels),
      m_output(std::size_t{m_job.format.blockFrames} * m_job.format.outputChannels) {
    if (!m_job.options.levelsPath.empty()) {
        m_levels.emplace(m_job.options.levelsPath, traceFormat(m_job));
    }
    if (!m_job.options.responsePath.empty()) {
        m_response.emplace(m_job.options.responsePath, m_job.plan.initial, m_job.format.sampleRateHz);
    }
}

Report Rendering::perform() {
    const auto start = Clock::now();
    playSound();
    Interruption::check();
    m_engine->close();
    // An open file cannot be replaced everywhere, and the output may be the input.
    m_job.source.reset();
    commit();
    m_runSeconds = std::chrono::duration<double>(Clock::now() - start).count();
    return report();
}

void Rendering::playSound() {
    m_engine->open(m_job.format, m_job.plan.initial.text());
    m_limiter.follow(m_job.plan.initial);
    m_playingSince = Clock::now();
    ProgressBar progress(!m_job.options.quiet, m_job.sound.frames);
    while (const std::size_t frameCount = m_job.source->read(m_input.data(), m_job.format.blockFrames)) {
        Interruption::check();
        playBlock(frameCount);
        m_frames += frameCount;
        progress.show(m_frames);
        keepPace();
    }
    if (m_frames == 0) {
        throw RenderError(ExitStatus::unreadableInput, m_job.sound.name + " holds no sound.");
    }
}

void Rendering::playBlock(std::size_t frameCount) {
    // The effect consumes whole blocks.
    std::fill(m_input.begin() + static_cast<std::ptrdiff_t>(frameCount * m_job.format.inputChannels), m_input.end(),
              0.0F);
    applyChanges();
    const bool settled = m_engine->isSettled();
    m_timing.measure([this] { m_engine->process(m_input.data(), m_output.data()); });
    m_sink.write(m_output.data(), frameCount);
    m_before.add(m_input.data(), frameCount);
    m_after.add(m_output.data(), frameCount);
    const auto reductionDb = m_limiter.addBlock(m_input.data(), m_output.data(), frameCount, settled);
    if (m_levels) {
        m_levels->addBlock(m_input.data(), m_output.data(), frameCount, reductionDb);
    }
}

void Rendering::applyChanges() {
    const auto& changes = m_job.plan.changes;
    const auto block = static_cast<double>(m_timing.blockCount());
    while (m_changesAnnounced < changes.size() &&
           blockOf(changes[m_changesAnnounced].seconds, m_job.format) <= block) {
        m_engine->changeSettings(changes[m_changesAnnounced].settings.text());
        ++m_changesAnnounced;
    }
    m_engine->prepareBlock();
    const std::uint32_t rebuilds = m_engine->statistics().rebuildCount;
    if (rebuilds != m_rebuildsFollowed) {
        m_rebuildsFollowed = rebuilds;
        m_limiter.follow(changes[m_changesAnnounced - 1].settings);
    }
}

void Rendering::keepPace() const {
    if (m_job.options.realtime) {
        const std::chrono::duration<double> heard(static_cast<double>(m_frames) / m_job.format.sampleRateHz);
        Interruption::sleepUntil(m_playingSince + std::chrono::duration_cast<Clock::duration>(heard));
    }
}

/// The sound comes last, so that where it appears everything has.
void Rendering::commit() {
    if (m_levels) {
        m_levels->commit();
    }
    if (m_response) {
        m_response->commit();
    }
    m_sink.commit();
}

Report Rendering::report() const {
    const double worstFrame = static_cast<double>(m_timing.worstBlock()) * m_job.format.blockFrames;
    return {.source = m_job.sound,
            .outputName = m_job.options.outputPath,
            .outputKind = m_sink.kind(),
            .format = m_job.format,
            .settings = m_job.plan,
            .before = m_before.figures(),
            .after = m_after.figures(),
            .limiter = m_limiter.activity(),
            .effect = m_engine->description(),
            .engine = m_engine->statistics(),
            .frames = m_frames,
            .effectSeconds = m_timing.totalSeconds(),
            .meanBlockMicroseconds = m_timing.meanMicroseconds(),
            .worstBlockMicroseconds = m_timing.worstMicroseconds(),
            .worstBlockAtSeconds = worstFrame / m_job.format.sampleRateHz,
            .runSeconds = m_runSeconds};
}

} // namespace tovix::render
