#include "apo/Tovix.h"
#include "support/EngineSide.h"
#include "support/PreviousEffectDouble.h"
#include "support/RegistryValue.h"
#include "support/SettingsWriter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>

namespace tovix::test {
namespace {

using Calls = std::vector<std::string>;

/// An effect with a previous effect in its slot, wanted by the settings.
class PreviousEffect : public testing::Test {
protected:
    PreviousEffect() { EXPECT_EQ(fill(), S_OK); }

    HRESULT fill() { return pTovix->fillPreviousEffectSlot(static_cast<IAudioProcessingObject&>(previous)); }
    /// Ends the effect's life and begins that of another one.
    void startAnew() {
        pTovix = new Tovix(nullptr);
        effect = Effect(ComReference<IUnknown>(static_cast<IAudioProcessingObject*>(pTovix)));
    }

    HRESULT lock(DWORD inputChannels, DWORD outputChannels) {
        return effect.lock(floatFormat(inputChannels), floatFormat(outputChannels), blockFrames);
    }
    std::vector<float> process(DWORD inputChannels, DWORD outputChannels) {
        return effect.process(std::vector<float>(blockFrames * inputChannels, quiet), inputChannels, outputChannels);
    }
    HRESULT negotiateStereo() {
        FormatDouble format(floatFormat(2));
        return negotiate(*effect.apo, &format, &format).result;
    }
    HRESULT latency() {
        HNSTIME time = 0;
        return effect.apo->GetLatency(&time);
    }
    bool runs() { return std::count(previous.calls.begin(), previous.calls.end(), "process") > 0; }

    static constexpr UINT32 blockFrames = 16;
    static constexpr float quiet = 0.05F;

    PreviousEffectDouble previous;
    SettingsWriter settings{"EnableOldApo:\nBoost: 60 dB 1"};
    Tovix* pTovix = new Tovix(nullptr);
    Effect effect{ComReference<IUnknown>(static_cast<IAudioProcessingObject*>(pTovix))};
};

/// The samples against equal frames, raised by the settings' 6 dB.
void expectBoosted(const std::vector<float>& samples, const std::vector<float>& frame) {
    ASSERT_FALSE(samples.empty());
    for (std::size_t i = 0; i < samples.size(); ++i) {
        ASSERT_NEAR(samples[i], static_cast<double>(frame[i % frame.size()]) * std::pow(10.0, 0.3), 1e-6) << i;
    }
}

TEST_F(PreviousEffect, IsAskedFirstAndWorksAheadOfTheChain) {
    FormatDouble request(floatFormat(2));
    FormatDouble output(floatFormat(2));
    EXPECT_EQ(negotiate(*effect.apo, nullptr, &request).result, S_OK);
    EXPECT_EQ(previous.calls, Calls{}) << "asked about any output";
    const std::pair<DWORD, DWORD> channelCounts[] = {{2, 2}, {1, 2}, {2, 6}, {6, 2}};
    for (const auto& [inputs, outputs] : channelCounts) {
        SCOPED_TRACE(testing::Message() << inputs << " into " << outputs);
        previous.calls.clear();
        EXPECT_EQ(negotiate(*effect.apo, &output, &request).result, S_OK);
        EXPECT_EQ(previous.negotiated, (std::pair<const void*, const void*>(&output, &request)));
        EXPECT_EQ(request.references, 1U);
        ASSERT_EQ(lock(inputs, outputs), S_OK);
        EXPECT_EQ(previous.arguments, effect.arguments);
        HNSTIME time = 0;
        EXPECT_EQ(effect.apo->GetLatency(&time), S_OK);
        EXPECT_EQ(time, 777);
        expectBoosted(process(inputs, outputs), previous.frame);
        EXPECT_EQ(previous.arguments, effect.arguments);
        EXPECT_EQ(effect.output.u32BufferFlags, BUFFER_VALID);
        EXPECT_EQ(effect.output.u32ValidFrameCount, blockFrames);
        EXPECT_EQ(effect.config->UnlockForProcess(), S_OK);
        EXPECT_EQ(previous.calls, (Calls{"negotiate", "lock", "latency", "process", "unlock"}));
    }
    startAnew();
    EXPECT_EQ(previous.references, 1U);
}

TEST_F(PreviousEffect, DecidesTheFormatAloneUntilARefusalRemovesItForGood) {
    FormatDouble request(floatFormat(6)); // which the base would refuse
    FormatDouble output(floatFormat(2));
    FormatDouble proposal(floatFormat(1));
    EXPECT_EQ(negotiate(*effect.apo, &output, &request).pHandedOut, &request);
    for (const HRESULT result : {S_FALSE, APOERR_FORMAT_NOT_SUPPORTED, S_OK}) {
        previous.formatResult = result;
        previous.pProposal = result == S_FALSE ? &proposal : nullptr;
        const Negotiation negotiation = negotiate(*effect.apo, &output, &request);
        EXPECT_EQ(negotiation.result, S_FALSE);
        EXPECT_EQ(negotiation.pHandedOut == &proposal, result == S_FALSE);
    }
    EXPECT_EQ(previous.calls, (Calls{"negotiate", "negotiate", "negotiate", "released"}));
    EXPECT_EQ(request.references, 1U);
    EXPECT_EQ(proposal.references, 1U);
}

TEST_F(PreviousEffect, ThatCallsTheEffectFromAnyOfItsMethodsLeavesItWhole) {
    const std::pair<const char*, std::function<HRESULT()>> callBacks[] = {
        {"initialize", [&] { return effect.initialize(); }},
        {"lock", [&] { return lock(2, 2); }},
        {"lock that fails", [&] { return effect.lock(floatFormat(2), floatFormat(2, 44100), blockFrames); }},
        {"unlock", [&] { return effect.config->UnlockForProcess(); }},
        {"negotiate", [&] { return negotiateStereo(); }},
        {"latency", [&] { return latency(); }},
        {"process",
         [&] {
             const auto connection = effect.output; // that of the block which goes on afterwards
             process(2, 2);
             effect.output = connection;
             return S_OK;
         }},
        {"fill", [&] { return fill(); }},
    };
    for (const char* const method : {"negotiate", "lock", "latency", "process", "unlock", "released"}) {
        for (const auto& [what, callBack] : callBacks) {
            for (const float outputRateHz : {48000.0F, 44100.0F}) {
                SCOPED_TRACE(testing::Message() << what << " from " << method << " into " << outputRateHz);
                startAnew();
                ASSERT_EQ(fill(), S_OK);
                previous.callBack = [&, &run = callBack] { static_cast<void>(run()); };
                previous.callingBack = method;
                static_cast<void>(negotiateStereo());
                effect.lock(floatFormat(2), floatFormat(2, outputRateHz), blockFrames);
                static_cast<void>(latency());
                process(2, 2);
                effect.config->UnlockForProcess();
                EXPECT_EQ(effect.initialize(), S_OK);
                previous.callingBack.clear();
                effect.config->UnlockForProcess();
                ASSERT_EQ(fill(), S_OK);
                ASSERT_EQ(lock(2, 2), S_OK);
                expectBoosted(process(2, 2), previous.frame);
                EXPECT_EQ(effect.config->UnlockForProcess(), S_OK);
            }
        }
    }
    startAnew();
    EXPECT_EQ(previous.references, 1U);
}

TEST_F(PreviousEffect, IsNotLeftLockedWhenTheEffectsOwnLockFails) {
    EXPECT_EQ(effect.lock(floatFormat(2), floatFormat(2, 44100), blockFrames), APOERR_INVALID_CONNECTION_FORMAT);
    EXPECT_EQ(previous.calls, (Calls{"lock", "unlock"}));

    ASSERT_EQ(lock(2, 2), S_OK);
    previous.lockResult = APOERR_APO_LOCKED;
    EXPECT_EQ(lock(2, 2), APOERR_APO_LOCKED);
    expectBoosted(process(2, 2), previous.frame); // the first lock stands
}

TEST_F(PreviousEffect, IsUnlockedOnceHoweverItsLifeEndsAndIsSilentOnceItIsRemoved) {
    enum class Removal { none, initialization, refusal };
    const struct {
        HRESULT lockResult;
        Removal removal;
        bool unlocked;
        Calls calls;
    } cases[] = {
        {S_OK, Removal::none, false, {"lock", "unlock", "released"}},
        {S_OK, Removal::none, true, {"lock", "unlock", "released"}},
        {S_OK, Removal::initialization, false, {"lock", "unlock", "released"}},
        {S_OK, Removal::initialization, true, {"lock", "unlock", "released"}},
        {S_OK, Removal::refusal, true, {"lock", "negotiate", "unlock", "released"}},
        {E_FAIL, Removal::none, false, {"lock", "released"}},
        {E_FAIL, Removal::initialization, true, {"lock", "released"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "case " << &c - cases);
        previous.lockResult = c.lockResult;
        previous.formatResult = c.removal == Removal::refusal ? APOERR_FORMAT_NOT_SUPPORTED : S_OK;
        startAnew();
        ASSERT_EQ(fill(), S_OK);
        previous.calls.clear();
        ASSERT_EQ(lock(2, 2), S_OK);
        if (c.removal != Removal::none) {
            EXPECT_EQ(c.removal == Removal::refusal ? negotiateStereo() : effect.initialize(), S_OK);
            expectBoosted(process(2, 2), {quiet, quiet});
            EXPECT_EQ(fill(), APOERR_APO_LOCKED);
        }
        if (c.unlocked) {
            EXPECT_EQ(effect.config->UnlockForProcess(), S_OK);
            EXPECT_EQ(previous.calls.back() == "released", c.removal != Removal::none);
        }
        startAnew();
        EXPECT_EQ(previous.calls, c.calls);
    }
}

/// A previous effect that does not run must not leave the chain reading other memory than the engine's input.
TEST_F(PreviousEffect, UnwantedLeavesTheChainTheEnginesOwnChannels) {
    settings.write("#EnableOldApo:");
    const struct {
        DWORD inputs;
        DWORD outputs;
        std::vector<float> input;
        std::vector<float> output;
    } cases[] = {
        {2, 2, {1, 2, 3, 4}, {1, 2, 3, 4}},
        {1, 2, {1, 2}, {1, 1, 2, 2}},
        {2, 4, {1, 2, 3, 4}, {1, 2, 0, 0, 3, 4, 0, 0}},
        {1, 3, {1, 2}, {1, 1, 0, 2, 2, 0}},
        {4, 2, {1, 2, 3, 4, 5, 6, 7, 8}, {1, 2, 5, 6}},
    };
    for (const auto& c : cases) {
        ASSERT_EQ(lock(c.inputs, c.outputs), S_OK);
        EXPECT_EQ(effect.process(c.input, c.inputs, c.outputs), c.output) << c.inputs << " into " << c.outputs;
        EXPECT_EQ(effect.config->UnlockForProcess(), S_OK);
    }
    EXPECT_FALSE(runs());
}

TEST_F(PreviousEffect, SwitchOfTheMachineStandsUntilTheSettingsSayOtherwise) {
    const RegistryValue wanted(L"EnableOldApo", 1);
    settings.write("");
    startAnew();
    ASSERT_EQ(fill(), S_OK);
    std::vector<bool> ran;
    for (const char* const text : {"", "#EnableOldApo:", "Boost: 0 dB 0", "EnableOldApo: \xE9"}) {
        settings.write(text);
        previous.calls.clear();
        ASSERT_EQ(lock(2, 2), S_OK);
        process(2, 2);
        ran.push_back(runs());
        ASSERT_EQ(effect.config->UnlockForProcess(), S_OK);
    }
    EXPECT_EQ(ran, (std::vector<bool>{true, false, false, true}));
}

} // namespace
} // namespace tovix::test
