#include "apo/Tovix.h"
#include "support/EngineSide.h"
#include "support/OldApoDouble.h"
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
class OldApo : public testing::Test {
protected:
    OldApo() { EXPECT_EQ(pTovix->fillOldApoSlot(static_cast<IAudioProcessingObject&>(old)), S_OK); }

    HRESULT lock(DWORD inputChannels, DWORD outputChannels) {
        return effect.lock(floatFormat(inputChannels), floatFormat(outputChannels), blockFrames);
    }
    std::vector<float> process(DWORD inputChannels, DWORD outputChannels) {
        return effect.process(std::vector<float>(blockFrames * inputChannels, quiet), inputChannels, outputChannels);
    }
    bool runs() { return std::count(old.calls.begin(), old.calls.end(), "process") > 0; }

    static constexpr UINT32 blockFrames = 16;
    static constexpr float quiet = 0.05F;

    OldApoDouble old;
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

TEST_F(OldApo, IsAskedFirstAndWorksAheadOfTheChain) {
    FormatDouble request(floatFormat(2));
    FormatDouble output(floatFormat(2));
    const std::pair<DWORD, DWORD> channelCounts[] = {{2, 2}, {1, 2}, {2, 6}, {6, 2}};
    for (const auto& [inputs, outputs] : channelCounts) {
        SCOPED_TRACE(testing::Message() << inputs << " into " << outputs);
        old.calls.clear();
        EXPECT_EQ(negotiate(*effect.apo, &output, &request).result, S_OK);
        EXPECT_EQ(old.negotiated, (std::pair<const void*, const void*>(&output, &request)));
        EXPECT_EQ(request.references, 1U);
        ASSERT_EQ(lock(inputs, outputs), S_OK);
        EXPECT_EQ(old.arguments, effect.arguments);
        HNSTIME time = 0;
        EXPECT_EQ(effect.apo->GetLatency(&time), S_OK);
        EXPECT_EQ(time, 777);
        expectBoosted(process(inputs, outputs), old.frame);
        EXPECT_EQ(old.arguments, effect.arguments);
        EXPECT_EQ(effect.output.u32BufferFlags, BUFFER_VALID);
        EXPECT_EQ(effect.output.u32ValidFrameCount, blockFrames);
        EXPECT_EQ(effect.config->UnlockForProcess(), S_OK);
        EXPECT_EQ(old.calls, (Calls{"negotiate", "lock", "latency", "process", "unlock"}));
    }
    effect = Effect(ComReference<IUnknown>(static_cast<IAudioProcessingObject*>(new Tovix(nullptr))));
    EXPECT_EQ(old.references, 1U);
}

TEST_F(OldApo, DecidesTheFormatAloneWhereItAnswers) {
    FormatDouble request(floatFormat(6));
    FormatDouble output(floatFormat(2));
    EXPECT_EQ(negotiate(*effect.apo, &output, &request).result, S_OK); // the base would refuse
    FormatDouble proposal(floatFormat(1));
    old.formatResult = S_FALSE;
    old.pProposal = &proposal;
    const Negotiation answer = negotiate(*effect.apo, &output, &request);
    EXPECT_EQ(answer.result, S_FALSE);
    EXPECT_EQ(answer.pHandedOut, &proposal);
    EXPECT_EQ(proposal.references, 1U);
}

TEST_F(OldApo, RefusalOfAFormatRemovesItForGood) {
    FormatDouble request(floatFormat(2));
    FormatDouble output(floatFormat(2));
    for (const HRESULT refusal : {APOERR_FORMAT_NOT_SUPPORTED, S_FALSE}) { // S_FALSE without a proposal
        old.calls.clear();
        old.formatResult = S_OK;
        ASSERT_EQ(pTovix->fillOldApoSlot(static_cast<IAudioProcessingObject&>(old)), S_OK);
        old.formatResult = refusal;
        EXPECT_EQ(negotiate(*effect.apo, &output, &request).result, S_OK);
        EXPECT_EQ(negotiate(*effect.apo, &output, &request).result, S_OK);
        EXPECT_EQ(old.calls, (Calls{"negotiate"}));
        EXPECT_EQ(old.references, 1U);
    }
}

TEST_F(OldApo, FailureToLockOrUnlockNeverFailsTheEffect) {
    old.lockResult = E_FAIL;
    old.unlockResult = E_FAIL;
    old.latencyResult = E_FAIL;
    for (const bool throws : {false, true}) {
        old.throws = throws;
        ASSERT_EQ(lock(2, 2), S_OK);
        HNSTIME time = 0;
        EXPECT_EQ(effect.apo->GetLatency(&time), S_OK);
        expectBoosted(process(2, 2), {quiet, quiet});
        EXPECT_FALSE(runs());
        EXPECT_EQ(effect.config->UnlockForProcess(), S_OK);
    }
    FormatDouble format(floatFormat(2));
    EXPECT_EQ(negotiate(*effect.apo, &format, &format).result, S_OK);
}

TEST_F(OldApo, IsNotLeftLockedWhenTheEffectsOwnLockFails) {
    EXPECT_EQ(effect.lock(floatFormat(2), floatFormat(2, 44100), blockFrames), APOERR_INVALID_CONNECTION_FORMAT);
    EXPECT_EQ(old.calls, (Calls{"lock", "unlock"}));

    ASSERT_EQ(lock(2, 2), S_OK);
    old.lockResult = APOERR_APO_LOCKED;
    EXPECT_EQ(lock(2, 2), APOERR_APO_LOCKED);
    expectBoosted(process(2, 2), old.frame); // the first lock stands
}

TEST_F(OldApo, RemovedWhileLockedStaysAliveUntilTheUnlock) {
    const std::function<HRESULT()> removals[] = {
        [&] { return effect.initialize(); },
        [&] {
            FormatDouble format(floatFormat(2));
            old.formatResult = APOERR_FORMAT_NOT_SUPPORTED;
            return negotiate(*effect.apo, &format, &format).result;
        },
    };
    for (const auto& remove : removals) {
        ASSERT_EQ(pTovix->fillOldApoSlot(static_cast<IAudioProcessingObject&>(old)), S_OK);
        ASSERT_EQ(lock(2, 2), S_OK);
        EXPECT_EQ(remove(), S_OK);
        expectBoosted(process(2, 2), {quiet, quiet});
        EXPECT_FALSE(runs());
        EXPECT_GT(old.references, 1U);
        EXPECT_EQ(pTovix->fillOldApoSlot(static_cast<IAudioProcessingObject&>(old)), APOERR_APO_LOCKED);
        EXPECT_EQ(effect.config->UnlockForProcess(), S_OK);
        EXPECT_EQ(old.references, 1U);
    }
}

TEST_F(OldApo, LackingAnInterfaceIsNotTaken) {
    for (const IID& lacking : {IID_IAudioProcessingObjectRT, IID_IAudioProcessingObjectConfiguration}) {
        old.lacking = lacking;
        EXPECT_EQ(pTovix->fillOldApoSlot(static_cast<IAudioProcessingObject&>(old)), E_NOINTERFACE);
        EXPECT_EQ(old.references, 1U);
    }
}

/// A previous effect that does not run must not leave the chain reading other memory than the engine's input.
TEST_F(OldApo, UnwantedLeavesTheChainTheEnginesOwnChannels) {
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

TEST(OldApoRegistry, SwitchOfTheMachineStandsUntilTheSettingsSayOtherwise) {
    const RegistryValue wanted(L"EnableOldApo", 1);
    SettingsWriter settings("");
    OldApoDouble old;
    auto* const pTovix = new Tovix(nullptr);
    Effect effect{ComReference<IUnknown>(static_cast<IAudioProcessingObject*>(pTovix))};
    ASSERT_EQ(pTovix->fillOldApoSlot(static_cast<IAudioProcessingObject&>(old)), S_OK);
    for (const char* const text : {"", "#EnableOldApo:", "Boost: 0 dB 0", "EnableOldApo:"}) {
        settings.write(text);
        ASSERT_EQ(effect.lock(floatFormat(2), floatFormat(2), 16), S_OK);
        effect.process(std::vector<float>(32, 0.0F), 2, 2);
        ASSERT_EQ(effect.config->UnlockForProcess(), S_OK);
    }
    EXPECT_EQ(std::count(old.calls.begin(), old.calls.end(), "process"), 2); // with the first text and the last
}

} // namespace
} // namespace tovix::test
