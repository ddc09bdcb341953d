// Longer than most: the calls of a sequence share the state that each of them is held against.

#include "support/BecomesTrue.h"
#include "support/CallSequences.h"
#include "support/ModuleUnderTest.h"
#include "support/OwnResources.h"
#include "support/SettingsWriter.h"
#include "support/SystemThread.h"
#include "system/Locks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <list>
#include <optional>

namespace tovix::test {
namespace {

constexpr float quiet = 0.01F;
constexpr const char* texts[] = {"",
                                 "Boost: 60 dB 1",
                                 "Boost: 60 dB 0\nMaximizer: 60 dB -10",
                                 "Equalizer: 100 6 10000 6\nBoost: 20 dB 1\nEnableOldApo:",
                                 "#Boost: 60 dB 1\nBoost: loud",
                                 "Equalizer: 1000 -3"};
constexpr float loudest = 0.1F;

/// What is called, and the outer object of those effects that are part of another one.
struct Object final : IUnknown {
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
        return IsEqualIID(riid, IID_IUnknown) ? (AddRef(), *ppv = this, S_OK) : inner->QueryInterface(riid, ppv);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() override { return --references; }

    ULONG references = 1;
    bool isOuter = false;
    ComReference<IUnknown> inner;
    std::optional<Effect> effect;
    /// Beyond those of `inner` and `effect`.
    ULONG furtherReferences = 0;
    bool isLocked = false;
    int locks = 0;
    /// Of the last lock.
    DWORD inputs = 2;
    DWORD outputs = 2;
    UINT32 frames = 0;
    ComReference<IAudioMediaType> proposal;
    ComReference<IClassFactory> factory;
    int serverLocks = 0;

    [[nodiscard]] bool holdsModule() const { return inner || proposal || factory || serverLocks > 0; }
    /// The controlling unknown, of which the effect's three interfaces hold references.
    IUnknown& unknown() { return isOuter ? static_cast<IUnknown&>(*this) : *inner; }
    [[nodiscard]] IUnknown& way(std::uint32_t variant) const {
        IUnknown* const ways[] = {effect->apo.get(), effect->rt.get(), effect->config.get()};
        return *ways[variant % 3];
    }
    std::vector<float> process(UINT32 count, APO_BUFFER_FLAGS mark = BUFFER_VALID) {
        return effect->process(std::vector<float>(std::size_t{count} * inputs, quiet), inputs, outputs, mark);
    }
};

/// One sequence: the calls of each object come from one thread, in their order, and are held against what the
/// object's state says.
class Sequence {
public:
    Sequence(const ModuleUnderTest& module, SettingsWriter& settings, const Calls& calls, std::uint32_t threads)
        : m_module(module), m_settings(settings), m_threads(threads) {
        {
            std::list<SystemThread> running;
            for (std::uint32_t thread = 0; thread < threads; ++thread) {
                running.emplace_back([this, &calls, thread] { callAll(calls, thread); });
            }
        }
        expect(m_module.canUnloadNow(), S_OK, "the end");
    }

    [[nodiscard]] const std::string& wrong() const { return m_wrong; }

    static std::string name(const Call& call) { return kinds[call.kind % std::size(kinds)].name; }

private:
    struct Kind {
        const char* name;
        void (Sequence::*make)(Object& object, std::uint32_t variant);
        bool ofAnEffect = true;
    };
    static const Kind kinds[18];

    void callAll(const Calls& calls, std::uint32_t thread) {
        for (const Call& call : calls) {
            Object& object = m_objects[call.object % m_objects.size()];
            if (call.object % m_objects.size() % m_threads != thread || !m_wrong.empty()) {
                continue;
            }
            const Kind& kind = kinds[call.kind % std::size(kinds)];
            if (object.inner || !kind.ofAnEffect) {
                (this->*kind.make)(object, call.variant);
            }
            if (object.holdsModule()) {
                expect(m_module.canUnloadNow(), S_FALSE, "in use");
            }
        }
        for (std::size_t i = thread; i < m_objects.size(); i += m_threads) {
            letGo(m_objects[i]);
        }
    }

    void expect(std::int64_t got, std::int64_t expected, const char* what) {
        const Exclusive guard(m_wrongLock);
        if (got != expected && m_wrong.empty()) {
            m_wrong = std::string(what) + " gave " + std::to_string(got) + " for " + std::to_string(expected);
        }
    }

    void letGo(Object& object) {
        release(object, 0);
        object.proposal.reset();
        object.factory.reset();
        for (; object.serverLocks > 0; --object.serverLocks) {
            m_module.factory()->LockServer(FALSE);
        }
    }

    void create(Object& object, std::uint32_t variant) {
        const bool aggregated = variant % 3 == 0;
        const bool known = variant % 5 != 0;
        const IID& iid = !known ? IID_IClassFactory : variant % 7 == 0 ? IID_IAudioProcessingObjectRT : IID_IUnknown;
        const bool succeeds = known && (!aggregated || IsEqualIID(iid, IID_IUnknown));
        void* pMade = this;
        const auto factory = m_module.factory();
        expect(factory->CreateInstance(aggregated ? &object : nullptr, iid, &pMade), succeeds ? S_OK : E_NOINTERFACE,
               "CreateInstance");
        expect(pMade != nullptr, succeeds, "CreateInstance's object");
        ComReference<IUnknown> made(static_cast<IUnknown*>(pMade));
        if (made && !object.inner) { // else it lived for this call
            object.isOuter = aggregated;
            object.inner = queryInterface<IUnknown>(*made, IID_IUnknown);
            object.isLocked = false;
            object.locks = 0;
            object.references = 1;
            object.unknown().AddRef();
            object.effect.emplace(ComReference<IUnknown>(&object.unknown()));
        }
    }

    void release(Object& object, std::uint32_t) {
        for (; object.furtherReferences > 0; --object.furtherReferences) {
            object.unknown().Release();
        }
        object.effect.reset();
        expect(object.references, 1, "the outer references at the end");
        IUnknown* const pInner = object.inner.release();
        expect(pInner != nullptr ? pInner->Release() : 0, 0, "the last Release");
    }

    void addReference(Object& object, std::uint32_t variant) {
        // The effect has four, and what is not part of another one its first besides.
        const ULONG before = object.furtherReferences + 5;
        const bool more = variant % 2 == 0 || object.furtherReferences == 0;
        const ULONG now = more ? object.way(variant).AddRef() : object.way(variant).Release();
        object.furtherReferences = more ? object.furtherReferences + 1 : object.furtherReferences - 1;
        expect(now, more ? before + 1 : before - 1, more ? "AddRef" : "Release");
    }

    void query(Object& object, std::uint32_t variant) {
        const auto unknown = queryInterface<IUnknown>(object.way(variant), IID_IUnknown);
        expect(unknown.get() == &object.unknown(), true, "the identity");
    }

    void initialize(Object& object, std::uint32_t variant) {
        static PropertyStoreDouble store; // the effect keeps it
        APOInitSystemEffects data{};
        data.APOInit = {sizeof data, effectClassId};
        data.pAPOEndpointProperties = variant % 7 == 6 ? nullptr : &store;
        constexpr struct {
            UINT32 size;
            bool hasData;
            HRESULT result;
        } cases[] = {{0, true, E_POINTER},     {5, false, E_INVALIDARG}, {0, false, E_INVALIDARG},
                     {55, true, E_INVALIDARG}, {57, true, E_INVALIDARG}, {56, true, S_OK},
                     {56, true, E_INVALIDARG}};
        const auto& c = cases[variant % 7];
        expect(object.effect->apo->Initialize(c.size, c.hasData ? reinterpret_cast<BYTE*>(&data) : nullptr), c.result,
               "Initialize");
    }

    void negotiateFormat(Object& object, std::uint32_t variant) {
        const bool accepts = variant % 2 == 0;
        FormatDouble output(floatFormat(2));
        FormatDouble request(floatFormat(2, accepts ? 48000.0F : 44100.0F));
        IAudioMediaType* pGot = nullptr;
        expect(object.effect->apo->IsInputFormatSupported(&output, &request, &pGot), accepts ? S_OK : S_FALSE,
               "a negotiation");
        expect(pGot == &request, accepts, "the format as it was");
        ComReference<IAudioMediaType> got(pGot);
        if (!accepts) {
            object.proposal = std::move(got);
        }
    }

    void lock(Object& object, std::uint32_t variant) {
        constexpr DWORD counts[][2] = {{2, 2}, {1, 2}, {6, 2}, {2, 8}, {1, 1}};
        constexpr UINT32 frameCounts[] = {64, 48, 480};
        const auto& [inputs, outputs] = counts[variant % 5];
        const bool sameRate = variant / 5 % 4 != 0;
        const UINT32 frames = frameCounts[variant / 20 % 3];
        const HRESULT result = sameRate ? S_OK : APOERR_INVALID_CONNECTION_FORMAT;
        expect(object.effect->lock(floatFormat(inputs), floatFormat(outputs, sameRate ? 48000.0F : 44100.0F),
                                   variant % 2 == 0 ? frames : 0, frames),
               object.isLocked ? APOERR_APO_LOCKED : result, "LockForProcess");
        if (!object.isLocked && sameRate) {
            object.isLocked = true;
            ++object.locks;
            object.inputs = inputs;
            object.outputs = outputs;
            object.frames = frames;
        }
    }

    void unlock(Object& object, std::uint32_t) {
        expect(object.effect->config->UnlockForProcess(), object.isLocked ? S_OK : APOERR_ALREADY_UNLOCKED,
               "UnlockForProcess");
        object.isLocked = false;
    }

    void process(Object& object, std::uint32_t variant) {
        constexpr APO_BUFFER_FLAGS marks[] = {BUFFER_VALID, BUFFER_SILENT, BUFFER_INVALID};
        const UINT32 frameCounts[] = {object.frames, object.frames / 2, 0, object.frames * 2 + 1};
        const UINT32 frames = frameCounts[variant % 4];
        const APO_BUFFER_FLAGS mark = marks[variant / 8 % 4 % 3];
        for (std::uint32_t block = 0; block <= variant / 32 % 16; ++block) {
            const auto output = object.process(frames, mark);
            const bool untouched = mark == BUFFER_INVALID || object.locks == 0;
            const bool sounds =
                std::all_of(output.begin(), output.end(), [](float x) { return x >= 0 && x <= loudest; });
            expect(untouched || sounds, true, "the sound");
            if (object.locks > 0) {
                expect(object.effect->output.u32ValidFrameCount, untouched ? 99U : frames, "a block's length");
            }
        }
    }

    void ask(Object& object, std::uint32_t) {
        HNSTIME time = -1;
        expect(object.effect->apo->GetLatency(nullptr), E_POINTER, "GetLatency");
        expect(object.effect->apo->GetLatency(&time), object.isLocked ? S_OK : APOERR_ALREADY_UNLOCKED, "GetLatency");
        expect(time, object.isLocked ? 0 : -1, "the latency");
        expect(object.effect->apo->Reset(), S_OK, "Reset");
        expect(object.effect->apo->GetRegistrationProperties(nullptr), E_POINTER, "GetRegistrationProperties");
        APO_REG_PROPERTIES* pRecord = nullptr;
        expect(object.effect->apo->GetRegistrationProperties(&pRecord), S_OK, "GetRegistrationProperties");
        const TaskMemory<APO_REG_PROPERTIES> record(pRecord);
        expect(IsEqualCLSID(record->clsid, effectClassId), TRUE, "the class in a copy of the record");
        UINT32 count = 0;
        expect(object.effect->apo->GetInputChannelCount(&count), APOERR_NOT_INITIALIZED, "GetInputChannelCount");
        expect(object.effect->rt->CalcInputFrames(441), 441U, "CalcInputFrames");
        expect(object.effect->rt->CalcOutputFrames(7), 7U, "CalcOutputFrames");
    }

    void change(Object&, std::uint32_t variant) {
        m_settings.write(texts[variant % std::size(texts)]);
        if (variant % 4 != 0) {
            m_settings.signal();
        }
    }

    /// A change is heard, except where a lock has met a fade, which keeps the token.
    void hearChange(Object& object, std::uint32_t variant) {
        if (m_threads > 1 || object.locks != 1 || variant % 4 != 0) {
            return;
        }
        const int level = variant % 8 == 0 ? 40 : 80;
        m_settings.change("Boost: " + std::to_string(level) + " dB 1");
        const float expected = quiet * std::pow(10.0F, static_cast<float>(level) / 200.0F);
        const bool heard = becomesTrue([&] {
            const auto output = object.process(object.frames);
            return std::abs(output[object.outputs - object.outputs % 4] - expected) < 1e-3F * expected;
        });
        expect(heard, true, "a change of the settings");
    }

    void toggleFactory(Object& object, std::uint32_t) {
        object.factory = object.factory ? nullptr : m_module.factory();
    }

    void lockServer(Object& object, std::uint32_t variant) {
        const bool more = variant % 2 == 0 || object.serverLocks == 0;
        expect(m_module.factory()->LockServer(more ? TRUE : FALSE), S_OK, "LockServer");
        object.serverLocks += more ? 1 : -1;
    }

    void askModule(Object&, std::uint32_t) {
        if (m_threads == 1) {
            const bool used =
                std::any_of(m_objects.begin(), m_objects.end(), [](auto& o) { return o.holdsModule(); });
            expect(m_module.canUnloadNow(), used ? S_FALSE : S_OK, "DllCanUnloadNow");
        }
    }

    const ModuleUnderTest& m_module;
    SettingsWriter& m_settings;
    const std::uint32_t m_threads;
    std::array<Object, 4> m_objects;
    SRWLOCK m_wrongLock = SRWLOCK_INIT;
    std::string m_wrong;
};

// What happens most often in a life stands here more than once.
const Sequence::Kind Sequence::kinds[18] = {
    {"create", &Sequence::create, false},
    {"create", &Sequence::create, false},
    {"release", &Sequence::release, false},
    {"reference", &Sequence::addReference},
    {"query", &Sequence::query},
    {"initialize", &Sequence::initialize},
    {"negotiate", &Sequence::negotiateFormat},
    {"lock", &Sequence::lock},
    {"lock", &Sequence::lock},
    {"unlock", &Sequence::unlock},
    {"process", &Sequence::process},
    {"process", &Sequence::process},
    {"ask", &Sequence::ask},
    {"change", &Sequence::change, false},
    {"hear a change", &Sequence::hearChange},
    {"factory", &Sequence::toggleFactory, false},
    {"lock the server", &Sequence::lockServer, false},
    {"ask the module", &Sequence::askModule, false},
};

TEST(CallOrder, DoesNotMatterToResultsSoundAndReferencesAndLeavesNothingBehind) {
    SettingsWriter settings("");
    const SeedRange seeds = seedsToRun(500);
    std::optional<OwnResources> before;
    // Everything must have gone with each module; what the system makes once, it has made with the first.
    for (std::uint32_t done = 0; done < seeds.count; done += 100) {
        std::printf("up to 100 sequences, seeds from %u on\n", seeds.first + done);
        std::fflush(stdout); // for one that ends the process
        const std::string wrong = [&] {
            const ModuleUnderTest module;
            return findFailingSequence(
                {seeds.first + done, std::min(seeds.count - done, 100U)},
                [&](std::uint32_t seed, const Calls& calls) {
                    return Sequence(module, settings, calls, 1 + seed % 4).wrong();
                },
                &Sequence::name);
        }();
        ASSERT_EQ(wrong, "");
        const OwnResources held = before ? settledAt(*before) : OwnResources::now();
        ASSERT_EQ(held, before.value_or(held)) << "after the hundred sequences from seed " << seeds.first + done;
        before = held;
    }
    std::printf("%u sequences, seeds from %u on\n", seeds.count, seeds.first);
}

} // namespace
} // namespace tovix::test
