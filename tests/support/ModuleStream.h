#pragma once

#include "apo/Tovix.h"
#include "support/BecomesTrue.h"
#include "support/ImportWatch.h"
#include "support/ModuleUnderTest.h"
#include "support/PlayedStream.h"
#include "support/PreviousEffectDouble.h"
#include "support/SettingsWriter.h"

#include <gtest/gtest.h>

#include <string>

namespace tovix::test {

enum class Previous { none, unwanted, running };

/// A stream of an effect of the library, which is loaded for it and whose calls of the system are watched.
class ModuleStream : public PlayedStream {
public:
    ModuleStream(const StreamFormat& format, const std::string& text, Previous previous = Previous::none)
        : PlayedStream(format), m_previous(previous) {
        if (previous != Previous::none) {
            auto& tovix = static_cast<Tovix&>(*effect.apo);
            EXPECT_EQ(tovix.fillPreviousEffectSlot(static_cast<IAudioProcessingObject&>(previousEffect)), S_OK);
        }
        settings.write(withPrevious(text));
        EXPECT_EQ(effect.lock(floatFormat(format.inputChannels, format.sampleRateHz),
                              floatFormat(format.outputChannels, format.sampleRateHz), format.maxFrames),
                  S_OK);
        awaitIdleThread(1);
    }
    ~ModuleStream() override { effect.config->UnlockForProcess(); }

    /// Returns when the chain is ready to fade in.
    void change(const std::string& text) override {
        watch.reset();
        settings.change(withPrevious(text));
        awaitIdleThread(2); // one wait for the chain's slot, one for the next update
    }
    [[nodiscard]] bool isFading() const override { return watch.calls("ReleaseSemaphore") == 0; }
    void play(float* input, float* output, std::uint32_t frames, bool silent) override {
        EXPECT_EQ(effect.play(input, output, frames, silent ? BUFFER_SILENT : BUFFER_VALID), frames);
    }

    PreviousEffectDouble previousEffect;
    ModuleUnderTest module;
    ImportWatch watch{module.handle()};
    SettingsWriter settings{""};
    Effect effect{module.create()};

private:
    [[nodiscard]] std::string withPrevious(const std::string& text) const {
        return std::string(m_previous == Previous::running ? "" : "#") + "EnableOldApo:\n" + text;
    }
    void awaitIdleThread(std::uint32_t waits) {
        EXPECT_TRUE(becomesTrue([&] { return watch.calls("WaitForMultipleObjects") >= waits; }));
    }

    Previous m_previous;
};

} // namespace tovix::test
