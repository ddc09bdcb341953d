#include "render/Render.h"

#include "render/ExitStatus.h"
#include "render/Interruption.h"
#include "render/Job.h"
#include "render/Pace.h"
#include "render/measure/BlockTiming.h"
#include "render/measure/LevelTrace.h"
#include "render/report/ProgressBar.h"
#include "render/report/ResponseReport.h"
#include "render/sound/FileSink.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace tovix::render {
namespace {

SinkFormat sinkFormat(const Job& job) {
    return {.samples = job.options.sampleFormat,
            .channels = job.format.outputChannels,
            .channelMask = job.format.outputMask};
}

EngineChoice engineChoice(const Job& job) {
    EngineChoice choice = job.options.engine;
    choice.announces = !job.plan.changes.empty();
    return choice;
}

class Run {
public:
    /// Opens the outputs.
    explicit Run(Job job);
    Report perform();

private:
    void playBlock(std::size_t frameCount);
    void attendEngine();
    void commit();
    [[nodiscard]] Report report() const;

    Job m_job;
    Interruption m_interruption;
    FileSink m_sink;
    std::optional<ResponseReport> m_response;
    std::optional<LevelTrace> m_levels;

    std::unique_ptr<IEngine> m_engine = makeEngine(engineChoice(m_job));
    LimiterProbe m_limiter;
    Loudness m_before;
    Loudness m_after;
    BlockTiming m_timing;
    std::vector<float> m_input;
    std::vector<float> m_output;
    std::size_t m_nextChange = 0;
    std::uint32_t m_rebuildsFollowed = 0;
    std::uint64_t m_frames = 0;
    double m_runSeconds = 0.0;
};

Run::Run(Job job)
    : m_job(std::move(job)), m_sink(m_job.options.outputPath, m_job.sound, sinkFormat(m_job)),
      m_limiter(m_job.format),
      m_before(m_job.format.inputChannels, m_job.format.inputMask, m_job.format.sampleRateHz),
      m_after(m_job.format.outputChannels, m_job.format.outputMask, m_job.format.sampleRateHz),
      m_input(std::size_t{m_job.format.blockFrames} * m_job.format.inputChannels),
      m_output(std::size_t{m_job.format.blockFrames} * m_job.format.outputChannels) {
    const auto& format = m_job.format;
    if (!m_job.options.levelsPath.empty()) {
        m_levels.emplace(m_job.options.levelsPath, TraceFormat{.sampleRateHz = format.sampleRateHz,
                                                               .inputChannels = format.inputChannels,
                                                               .outputChannels = format.outputChannels,
                                                               .blockFrames = format.blockFrames,
                                                               .frames = m_job.sound.frames});
    }
    if (!m_job.options.responsePath.empty()) {
        m_response.emplace(m_job.options.responsePath, m_job.plan.initial, format.sampleRateHz);
    }
}

Report Run::perform() {
    const auto start = BlockTiming::Clock::now();
    m_engine->open(m_job.format, m_job.plan.initial.text());
    m_limiter.follow(m_job.plan.initial);
    const Pace pace(m_job.format.sampleRateHz, m_job.options.realtime);
    ProgressBar progress(!m_job.options.quiet, m_job.sound.frames);
    while (const std::size_t frameCount = m_job.source->read(m_input.data(), m_job.format.blockFrames)) {
        Interruption::check();
        // The effect consumes whole blocks.
        std::fill(m_input.begin() + static_cast<std::ptrdiff_t>(frameCount * m_job.format.inputChannels),
                  m_input.end(), 0.0F);
        playBlock(frameCount);
        m_frames += frameCount;
        progress.show(m_frames);
        pace.keep(m_frames);
    }
    if (m_frames == 0) {
        throw RenderError(ExitStatus::unreadableInput, m_job.sound.name + " holds no sound.");
    }
    Interruption::check();
    m_engine->close();
    // An open file cannot be replaced everywhere, and the output may be the input.
    m_job.source.reset();
    commit();
    m_runSeconds = std::chrono::duration<double>(BlockTiming::Clock::now() - start).count();
    return report();
}

void Run::attendEngine() {
    const auto block = static_cast<double>(m_timing.blockCount());
    while (m_nextChange < m_job.plan.changes.size() &&
           blockOf(m_job.plan.changes[m_nextChange].seconds, m_job.format) <= block) {
        m_engine->changeSettings(m_job.plan.changes[m_nextChange++].settings.text());
    }
    m_engine->attend();
    const std::uint32_t rebuilds = m_engine->statistics().rebuildCount;
    if (rebuilds != m_rebuildsFollowed) {
        m_rebuildsFollowed = rebuilds;
        m_limiter.follow(m_job.plan.changes[m_nextChange - 1].settings);
    }
}

void Run::playBlock(std::size_t frameCount) {
    attendEngine();
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

/// The sound last, so that where it appears all has.
void Run::commit() {
    if (m_levels) {
        m_levels->commit();
    }
    if (m_response) {
        m_response->commit();
    }
    m_sink.commit();
}

Report Run::report() const {
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

} // namespace

Report renderSound(const Options& options) {
    return Run(prepareJob(options)).perform();
}

} // namespace tovix::render
