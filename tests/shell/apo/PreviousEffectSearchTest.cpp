#include "apo/PreviousEffectSearch.h"

#include "apo/EffectKeys.h"
#include "apo/PreviousEffectSlot.h"
#include "apo/RegistrationRecord.h"
#include "support/LogCapture.h"
#include "support/ModuleUnderTest.h"
#include "support/PreviousEffectServer.h"
#include "support/SettingsWriter.h"

#include <gtest/gtest.h>

namespace tovix::test {
namespace {

using Kind = PreviousEffectKind;
using Texts = std::vector<std::wstring>;

const std::wstring own = classIdText(effectClassId);
const std::wstring a = L"{00000000-0000-0000-0000-00000000000A}";
const std::wstring b = L"{00000000-0000-0000-0000-00000000000B}";
const std::wstring c = L"{00000000-0000-0000-0000-00000000000C}";

std::wstring row(std::size_t index) {
    return std::wstring(effectKeyNames.at(index));
}

TEST(PreviousEffectClasses, AreTheKeptOneAndThoseThatTheEngineRanOnTheSameSideUntilThisEffectCame) {
    const std::wstring kept(keptEffectKey);
    const struct {
        const char* what;
        std::map<std::wstring, Texts> values;
        Texts classes;
    } cases[] = {
        {"nothing", {}, {}},
        {"kept", {{kept, {a}}}, {a}},
        {"this effect nowhere", {{row(0), {a}}, {row(2), {b}}}, {}},
        {"over a legacy row", {{row(0), {a}}, {row(1), {b}}, {row(2), {own}}}, {a}},
        {"after the mix", {{row(0), {a}}, {row(1), {b}}, {row(4), {own}}}, {b}},
        {"over single rows", {{row(0), {c}}, {row(2), {a}}, {row(3), {b}}, {row(5), {own, L"nonsense"}}}, {a, b}},
        {"kept first", {{kept, {c}}, {row(1), {b}}, {row(7), {own}}}, {c, b}},
        {"a single row of the other side is set", {{row(0), {a}}, {row(4), {b}}, {row(3), {own}}}, {}},
        {"another class beside this one still runs", {{row(2), {a}}, {row(5), {own, b}}}, {}},
        {"the same kind still runs", {{row(1), {a}}, {row(3), {b}}, {row(4), {own}}}, {}},
        {"each once", {{kept, {a}}, {row(2), {b, a}}, {row(3), {b}}, {row(5), {own}}}, {a, b}},
        {"both sides", {{row(0), {a}}, {row(1), {b}}, {row(3), {own}}, {row(4), {own}}}, {a, b}},
        {"only this effect", {{kept, {own}}, {row(0), {own}}, {row(2), {own}}}, {}},
        {"an empty list", {{row(1), {a}}, {row(7), {own}}, {row(5), {}}}, {a}},
    };
    for (const auto& test : cases) {
        PropertyStoreDouble store;
        store.values = test.values;
        Texts found;
        for (const CLSID& classId : previousEffectClasses(store)) {
            found.push_back(classIdText(classId));
        }
        EXPECT_EQ(found, test.classes) << test.what;
    }
}

/// The effect of the module on a device that had other effects.
class PreviousEffectSearched : public testing::Test {
protected:
    void initialize(const Texts& classes) {
        effects.values = {{row(2), classes}, {row(5), {own, L"{}"}}};
        ASSERT_EQ(effect.initialize(&endpoint, &effects), S_OK);
    }
    HRESULT lock() { return effect.lock(floatFormat(2), floatFormat(2), 4); }
    /// The first sample of a block of ones.
    float play() { return effect.process(std::vector<float>(8, 1.0F), 2, 2).front(); }
    /// The first samples of `count` blocks of a stream of its own.
    std::vector<float> stream(int count) {
        EXPECT_EQ(lock(), S_OK);
        std::vector<float> samples;
        for (int i = 0; i < count; ++i) {
            samples.push_back(play());
        }
        EXPECT_EQ(effect.config->UnlockForProcess(), S_OK);
        return samples;
    }
    static std::wstring text(Kind kind) { return PreviousEffectServer::classText(kind); }

    // Before the effect, which it outlives.
    PreviousEffectServer server;
    SettingsWriter settings{"EnableOldApo:"};
    PropertyStoreDouble endpoint;
    PropertyStoreDouble effects;
    ModuleUnderTest module;
    Effect effect{module.create()};
};

TEST_F(PreviousEffectSearched, IsMadeInitializedAndHeardAtTheFirstLockOrNegotiation) {
    for (const Kind kind : {Kind::halving, Kind::halvingLonger}) {
        initialize({text(kind)});
        EXPECT_EQ(stream(2), (std::vector<float>{0.5F, 0.5F}));
    }
    initialize({text(Kind::halving)});
    FormatDouble format(floatFormat(2));
    EXPECT_EQ(negotiate(*effect.apo, &format, &format).result, S_OK);
    effects.values.clear();
    EXPECT_EQ(stream(1), std::vector<float>{0.5F}) << "found at the negotiation";
}

TEST_F(PreviousEffectSearched, ThatFailsLeavesTheSlotToTheNextOrEmptyAndTheSoundGoesOn) {
    for (const Kind kind : {Kind::unmakable, Kind::missing, Kind::initializeFails, Kind::initializeThrows,
                            Kind::withoutRealtimeInterface}) {
        SCOPED_TRACE(static_cast<int>(kind));
        initialize({text(kind), text(Kind::halving)});
        EXPECT_EQ(stream(1), std::vector<float>{0.5F}) << "the next one";
        initialize({text(kind), c});
        EXPECT_EQ(stream(1), std::vector<float>{1.0F});
        effects.values[row(2)] = {text(Kind::halving)};
        EXPECT_EQ(stream(1), std::vector<float>{1.0F}) << "one search for one initialization";
    }
}

TEST_F(PreviousEffectSearched, IsLookedForWhenTheSettingsWantItFirst) {
    settings.write("#EnableOldApo:");
    initialize({text(Kind::halving)});
    EXPECT_EQ(stream(1), std::vector<float>{1.0F});
    settings.write("EnableOldApo:");
    EXPECT_EQ(stream(1), std::vector<float>{0.5F});
}

TEST_F(PreviousEffectSearched, CountsAsSilentWhereItSaysSoAndIsLeftOutFromTheBlockThatItThrowsIn) {
    initialize({text(Kind::everySecondSilent)});
    EXPECT_EQ(stream(4), (std::vector<float>{0.5F, 0.0F, 0.5F, 0.0F}));
    initialize({text(Kind::processThrows)});
    EXPECT_EQ(stream(4), (std::vector<float>{0.5F, 1.0F, 1.0F, 1.0F}));
    EXPECT_EQ(stream(2), (std::vector<float>{0.5F, 1.0F})) << "the next stream tries it again";
}

TEST_F(PreviousEffectSearched, IsNotLookedForAfterAnInitializationThatFailed) {
    effects.values = {{row(2), {text(Kind::halving)}}, {row(5), {own}}};
    endpoint.result = E_ACCESSDENIED;
    EXPECT_EQ(effect.initialize(&endpoint, &effects), E_ACCESSDENIED);
    EXPECT_EQ(stream(1), std::vector<float>{1.0F});
}

TEST_F(PreviousEffectSearched, KeepsTheStoresUntilTheNextInitializationOrTheEnd) {
    initialize({});
    EXPECT_EQ(endpoint.references, 2U);
    EXPECT_EQ(effects.references, 2U);
    PropertyStoreDouble other;
    ASSERT_EQ(effect.initialize(&other, nullptr), S_OK);
    EXPECT_EQ(endpoint.references, 1U);
    EXPECT_EQ(effects.references, 1U);
    effect = Effect(module.create());
    EXPECT_EQ(other.references, 1U);
}

TEST(PreviousEffectSearch, SaysWhichClassItTookAndWhichItCouldNot) {
    const PreviousEffectServer server;
    PropertyStoreDouble endpoint;
    PropertyStoreDouble effects;
    const std::wstring failing = PreviousEffectServer::classText(Kind::initializeFails);
    const std::wstring working = PreviousEffectServer::classText(Kind::halving);
    effects.values = {{std::wstring(keptEffectKey), {failing}}, {row(0), {working}}, {row(2), {own}}};
    PreviousEffectSlot slot;
    PreviousEffectSearch search;
    search.begin(&endpoint, &effects);
    const LogCapture capture(LogLevel::Info);
    search.fill(slot);
    EXPECT_TRUE(slot.present());
    ASSERT_EQ(capture.lines().size(), 2U);
    EXPECT_NE(capture.lines()[0].find("WARNING"), std::string::npos);
    EXPECT_NE(capture.lines()[0].find("5E2D9A15-"), std::string::npos) << capture.lines()[0];
    EXPECT_NE(capture.lines()[0].find("hr=-2147024809"), std::string::npos) << capture.lines()[0];
    EXPECT_NE(capture.lines()[1].find("5E2D9A10-"), std::string::npos) << capture.lines()[1];
}

} // namespace
} // namespace tovix::test
