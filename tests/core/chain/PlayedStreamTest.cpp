#include "support/PlayedStream.h"
#include "chain/ChainBuilder.h"
#include "chain/ChainSlots.h"
#include "convolution/ConvolverEngine.h"
#include "stream/AudioBlock.h"
#include "support/ChosenAgain.h"

#include <gtest/gtest.h>

#include <string>

using namespace tovix;
using namespace tovix::test;

namespace {

/// The core's part of the effect, as `APOProcess` plays it.
class CoreStream final : public PlayedStream, IOwnEffect {
public:
    CoreStream(const StreamFormat& format, const std::string& text) : PlayedStream(format) {
        m_builder.configure(format, {});
        m_slots.reset(format);
        change(text);
    }
    void change(const std::string& text) override {
        m_slots.freeRetired();
        auto built = m_builder.build(text);
        ASSERT_TRUE(built.chain);
        m_isFading = m_slots.publish(std::move(built.chain)) == ChainSlots::Published::pending;
    }
    [[nodiscard]] bool isFading() const override { return m_isFading; }
    void play(float* input, float* output, std::uint32_t frames, bool silent) override {
        BlockBuffer target{output, 0, BufferFlags::invalid};
        processBlock(*this, {format().inputChannels, format().outputChannels, false, nullptr},
                     {input, frames, silent ? BufferFlags::silent : BufferFlags::valid}, target);
        EXPECT_EQ(target.validFrameCount, frames);
    }

private:
    void process(float* output, const float* input, std::uint32_t frameCount) noexcept override {
        m_isFading = !m_slots.process(output, input, frameCount) && m_isFading;
    }

    ChainBuilder m_builder{decodeLatin1};
    ChainSlots m_slots;
    bool m_isFading = false;
};

const StreamMaker makeCoreStream = [](const StreamFormat& format, const std::string& text) {
    return std::make_unique<CoreStream>(format, text);
};

/// With each engine, and the limiter's loops for the same processors.
class CoreStreamWith : public testing::TestWithParam<const ConvolverEngine*> {
protected:
    CoreStreamWith() {
        forceConvolverEngine(GetParam()->name);
        forceLimiterLoops(GetParam()->pLoops == nullptr ? "sse2" : GetParam()->name);
        forceKernels(GetParam()->pLoops == nullptr ? "scalar" : "sse2");
    }

private:
    ChosenAgain m_atEnd;
};

INSTANTIATE_TEST_SUITE_P(Engines, CoreStreamWith, testing::ValuesIn(availableConvolverEngines()), byName);

TEST_P(CoreStreamWith, StaysWithinItsBuffers) {
    expectBlocksToStayWithinTheirBuffers(makeCoreStream);
}

TEST_P(CoreStreamWith, StaysFiniteAndComesBack) {
    expectSoundToStayFiniteAndComeBack(makeCoreStream);
}

} // namespace
