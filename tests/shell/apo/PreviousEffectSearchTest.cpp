#include "apo/PreviousEffectSearch.h"

#include "apo/EffectKeys.h"
#include "apo/PreviousEffectSlot.h"
#include "apo/RegistrationRecord.h"
#include "support/LoggedModule.h"
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

TEST_F(PreviousEffectSearched, IsFoundAtTheFirstNegotiationForGood) {
    initialize({text(Kind::halving)});
    FormatDouble format(floatFormat(2));
    EXPECT_EQ(negotiate(*effect.apo, &format, &format).result, S_OK);
    effects.values.clear();
    EXPECT_EQ(stream(2), (std::vector<float>{0.5F, 0.5F}));
}

TEST_F(PreviousEffectSearched, ThatFailsLeavesTheSlotToTheNextOrEmptyAndTheSoundGoesOn) {
    initialize({text(Kind::withoutRealtimeInterface), text(Kind::halving)});
    EXPECT_EQ(stream(1), std::vector<float>{0.5F}) << "the next one";
    initialize({text(Kind::withoutRealtimeInterface), c});
    EXPECT_EQ(stream(1), std::vector<float>{1.0F});
    effects.values[row(2)] = {text(Kind::halving)};
    EXPECT_EQ(stream(1), std::vector<float>{1.0F}) << "one search for one initialization";
}

TEST_F(PreviousEffectSearched, IsLookedForWhenTheSettingsWantItFirst) {
    settings.write("#EnableOldApo:");
    initialize({text(Kind::halving)});
    EXPECT_EQ(stream(1), std::vector<float>{1.0F});
    settings.write("EnableOldApo:");
    EXPECT_EQ(stream(1), std::vector<float>{0.5F});
}

TEST_F(PreviousEffectSearched, ThatThrowsIsTriedAgainByTheNextStream) {
    initialize({text(Kind::processThrows)});
    EXPECT_EQ(stream(4), (std::vector<float>{0.5F, 1.0F, 1.0F, 1.0F}));
    EXPECT_EQ(stream(2), (std::vector<float>{0.5F, 1.0F}));
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
    other.type = VT_UI4; // no string counts as an empty one
    ASSERT_EQ(effect.initialize(&other, nullptr), S_OK);
    EXPECT_EQ(endpoint.references, 1U);
    EXPECT_EQ(effects.references, 1U);
    effect = Effect(module.create());
    EXPECT_EQ(other.references, 1U);
}

/// What a line of the log begins with that tells of the search, of negotiation, of locking, of unlocking.
std::string taken(Kind kind) {
    return "INFO PreviousEffectSearch::fill@PreviousEffectSearch Previous effect " +
           PreviousEffectServer::narrowClassText(kind) + " runs ahead of this one";
}

std::string notTaken(Kind kind, HRESULT hr) {
    return "WARNING PreviousEffectSearch::fill@PreviousEffectSearch Previous effect " +
           PreviousEffectServer::narrowClassText(kind) + " cannot be taken. hr=" + std::to_string(hr);
}

std::string refused(HRESULT hr) {
    const std::string function = "Tovix::IsInputFormatSupported";
    return "WARNING " + function + "@Tovix " + function +
           "() IsInputFormatSupported of old apo FAILED. hr=" + std::to_string(hr);
}

/// The sound of the first two blocks of ones behind the previous effect in an object that COM makes, which is
/// treated as the audio engine treats it.
std::vector<float> heardBehind(Kind kind) {
    void* pObject = nullptr;
    ::CoCreateInstance(effectClassId, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, &pObject);
    Effect effect{ComReference<IUnknown>(static_cast<IUnknown*>(pObject))};
    PropertyStoreDouble endpoint;
    PropertyStoreDouble effects;
    effects.values = {{std::wstring(keptEffectKey), {PreviousEffectServer::classText(kind)}}};
    EXPECT_EQ(effect.initialize(&endpoint, &effects), S_OK);
    FormatDouble format(floatFormat(2));
    const Negotiation negotiation = negotiate(*effect.apo, &format, &format);
    EXPECT_TRUE(SUCCEEDED(negotiation.result));
    EXPECT_EQ(negotiation.pHandedOut, &format);
    EXPECT_EQ(format.references, 1U);
    EXPECT_EQ(effect.lock(format, format, 4), S_OK);
    HNSTIME time = 0;
    EXPECT_EQ(effect.apo->GetLatency(&time), S_OK);
    std::vector<float> heard;
    for (int i = 0; i < 2; ++i) {
        heard.push_back(effect.process(std::vector<float>(8, 1.0F), 2, 2).back());
        EXPECT_EQ(effect.output.u32ValidFrameCount, 4U);
    }
    EXPECT_EQ(effect.config->UnlockForProcess(), S_OK);
    return heard;
}

TEST(PreviousEffectFromCom, IsHeardOrLeftOutWithOneWarningWhateverItDoes) {
    const std::vector<float> heard{0.5F, 0.5F};
    const std::vector<float> alone{1.0F, 1.0F};
    const auto failed = [](HRESULT hr) { return " FAILED. hr=" + std::to_string(hr); };
    const std::string lock = "WARNING Tovix::LockForProcess@Tovix LockForProcess() for old APO";
    const std::string unlock = "WARNING Tovix::UnlockForProcess@Tovix Tovix::UnlockForProcess() for old apo";
    const struct {
        Kind kind;
        std::vector<float> sound;
        /// Beside the one line of the search.
        std::string warning;
        HRESULT searchResult = S_OK;
    } cases[] = {
        {Kind::halving, heard},
        {Kind::halvingLonger, heard},
        {Kind::slow, heard},
        {Kind::everySecondSilent, {0.5F, 0.0F}},
        {Kind::processThrows, {0.5F, 1.0F}},
        {Kind::processLies, heard},
        {Kind::unmakable, alone, "", E_ACCESSDENIED},
        {Kind::missing, alone, "", E_POINTER},
        {Kind::makingThrows, alone, "", E_FAIL},
        {Kind::queryThrows, alone, "", E_FAIL},
        {Kind::initializeFails, alone, "", E_INVALIDARG},
        {Kind::initializeThrows, alone, "", E_FAIL},
        {Kind::initializeWantsAnotherSize, alone, "", E_INVALIDARG},
        {Kind::withoutRealtimeInterface, alone, "", E_NOINTERFACE},
        {Kind::withoutConfigurationInterface, alone, "", E_NOINTERFACE},
        {Kind::givesNoInterface, alone, "", E_NOINTERFACE},
        {Kind::acceptsNothing, heard},
        {Kind::proposesNothing, alone, refused(E_POINTER)},
        {Kind::proposesNonsense, alone, refused(APOERR_FORMAT_NOT_SUPPORTED)},
        {Kind::acceptsWithAnotherCode, heard, "WARNING Tovix::IsInputFormatSupported@Tovix Unexpected HRESULT. hr=2"},
        {Kind::acceptsNothingWithAnotherCode, alone, refused(E_POINTER)},
        {Kind::negotiationThrows, alone, refused(E_FAIL)},
        {Kind::lockFails, alone, lock + failed(E_OUTOFMEMORY)},
        {Kind::lockThrows, alone, lock + failed(E_FAIL)},
        {Kind::locksWithAnotherCode, heard},
        {Kind::latencyThrows, heard},
        {Kind::unlockThrows, heard, unlock + failed(E_FAIL)},
        {Kind::unlockFails, heard, unlock + failed(E_OUTOFMEMORY)},
        {Kind::releaseThrows, heard},
    };
    static_assert(std::size(cases) == static_cast<std::size_t>(Kind::count));
    const SettingsWriter settings("EnableOldApo:");
    Lines expected;
    Lines told = toldBy([&](const ModuleUnderTest& module) {
        const PreviousEffectServer server;
        ASSERT_EQ(module.call("DllRegisterServer"), S_OK);
        for (const auto& test : cases) {
            SCOPED_TRACE(static_cast<int>(test.kind));
            EXPECT_EQ(heardBehind(test.kind), test.sound);
            EXPECT_EQ(PreviousEffectServer::objectsAlive(), 0);
            EXPECT_EQ(module.canUnloadNow(), S_OK);
            expected.push_back(test.searchResult == S_OK ? taken(test.kind) : notTaken(test.kind, test.searchResult));
            if (!test.warning.empty()) {
                expected.push_back(test.warning);
            }
        }
        EXPECT_EQ(module.call("DllUnregisterServer"), S_OK);
    });
    std::erase_if(told, [](const std::string& line) {
        return !line.starts_with("WARNING") && line.find("Previous effect") == std::string::npos;
    });
    EXPECT_EQ(told, expected);
}

} // namespace
} // namespace tovix::test
