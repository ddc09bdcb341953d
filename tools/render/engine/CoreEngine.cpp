#include "render/engine/CoreEngine.h"

#include "render/files/ProgramEnd.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace tovix::render {

CoreEngine::CoreEngine() : m_builder(decodeLatin1) {}

void CoreEngine::open(const EngineFormat& format, std::string_view settings) {
    close();
    m_statistics = {};
    StreamFormat stream;
    stream.sampleRateHz = static_cast<float>(format.sampleRateHz);
    stream.inputChannels = format.inputChannels;
    stream.outputChannels = format.outputChannels;
    stream.channelMask = format.outputMask;
    stream.maxFrames = format.blockFrames;
    m_context = {.inputChannels = format.inputChannels, .outputChannels = format.outputChannels};
    m_blockFrames = format.blockFrames;
    m_slots.reset(stream);
    m_builder.configure(stream, {});
    m_statistics.firstBuildMs = build(settings);
}

void CoreEngine::close() {
    m_slots.reset({});
    m_announced.reset();
    m_tokenFree = true;
}

double CoreEngine::build(std::string_view settings) {
    const auto start = std::chrono::steady_clock::now();
    m_slots.freeRetired();
    auto built = m_builder.build(settings);
    if (!built.chain) {
        throw RenderError(ExitStatus::failure, "the effect's chain could not be built: there is not enough memory.");
    }
    m_tokenFree = m_slots.publish(std::move(built.chain)) == ChainSlots::Published::current;
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

void CoreEngine::changeSettings(std::string_view settings) {
    m_announced = settings;
}

void CoreEngine::prepareBlock() {
    if (!m_announced || !m_tokenFree) {
        return;
    }
    const std::string settings = *std::exchange(m_announced, std::nullopt);
    const double buildMs = build(settings);
    m_statistics.longestRebuildMs = std::max(m_statistics.longestRebuildMs, buildMs);
    ++m_statistics.rebuildCount;
}

void CoreEngine::process(const float* input, float* output) noexcept {
    // One record type serves both directions; the input of a valid block is only read.
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast)
    const BlockBuffer in{const_cast<float*>(input), m_blockFrames, BufferFlags::valid};
    BlockBuffer out{output, 0, BufferFlags::invalid};
    processBlock(*this, m_context, in, out);
}

void CoreEngine::process(float* output, const float* input, std::uint32_t frameCount) noexcept {
    if (m_slots.process(output, input, frameCount)) {
        m_tokenFree = true;
    }
}

bool CoreEngine::isSettled() const noexcept {
    return m_tokenFree && !m_announced;
}

std::string CoreEngine::description() const {
    return "the core, within this program";
}

} // namespace tovix::render
