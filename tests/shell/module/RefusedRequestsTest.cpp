#include "support/BecomesTrue.h"
#include "support/ImportWatch.h"
#include "support/ModuleUnderTest.h"
#include "support/OwnResources.h"
#include "support/SettingsWriter.h"
#include "support/SystemThread.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <optional>

namespace tovix::test {
namespace {

/// A module's requests for memory, of which some are refused. Those of FFTW's planner are not: it ends the process
/// when one is, so that the module asks for what it takes beforehand, in one block that it gives back at once.
class RefusedRequests {
public:
    explicit RefusedRequests(ImportWatch& imports) {
        refuse(0, false);
        imports.redirect("malloc", &take<std::size_t>::from<&std::malloc>);
        imports.redirect("calloc", &take<std::size_t, std::size_t>::from<&std::calloc>);
        imports.redirect("realloc", &take<void*, std::size_t>::from<&std::realloc>);
        imports.redirect("HeapAlloc", &take<HANDLE, DWORD, SIZE_T>::from<&::HeapAlloc>);
        imports.redirect("LocalAlloc", &take<UINT, SIZE_T>::from<&::LocalAlloc>);
        imports.redirect("CoTaskMemAlloc", &take<SIZE_T>::from<&::CoTaskMemAlloc>);
        imports.redirect("free", &giveBack);
        imports.redirect("ReleaseSRWLockExclusive", &release);
    }

    /// Refuses one request from here on, counted from 1, or that and all later ones; 0 refuses none.
    static void refuse(int request, bool andLaterOnes) {
        requests = 0;
        first = request;
        later = andLaterOnes;
    }
    /// Refuses nothing more; returns whether there was the request that was to be refused.
    static bool stop() { return requests >= first.exchange(0); }

private:
    template <class... Arguments> struct take {
        template <auto function> static void* from(Arguments... arguments) {
            const bool planned = planner == ::GetCurrentThreadId();
            const int request = first != 0 && !planned ? ++requests : 0;
            if (request != 0 && (request == first || (later && request > first))) {
                return nullptr;
            }
            void* const pBlock = function(arguments...);
            pTakenLast = planned ? nullptr : pBlock;
            return pBlock;
        }
    };
    static void giveBack(void* pBlock) {
        if (pBlock != nullptr && pBlock == pTakenLast && ::_msize(pBlock) >= leastForPlanning) {
            planner = ::GetCurrentThreadId();
        }
        std::free(pBlock);
    }
    static void WINAPI release(SRWLOCK* pLock) {
        DWORD self = ::GetCurrentThreadId();
        planner.compare_exchange_strong(self, 0);
        ::ReleaseSRWLockExclusive(pLock);
    }
    static constexpr std::size_t leastForPlanning = std::size_t{256} * 1024;
    static inline std::atomic<int> requests;
    static inline std::atomic<int> first;
    static inline std::atomic<bool> later;
    static inline std::atomic<void*> pTakenLast;
    /// The thread that plans.
    static inline std::atomic<DWORD> planner;
};

constexpr DWORD channels = 2;
constexpr UINT32 frames = 480;
constexpr float quiet = 0.01F;
using Block = std::vector<float>;

/// Both filters raise the level, so that it tells of each; 60 tenths of a decibel are a factor of 2.
std::string settingsText(int tenthsOfDb) {
    return "Equalizer: 100 6 10000 6\nBoost: " + std::to_string(tenthsOfDb) + " dB 1";
}

/// A module and an effect of it, to which each step of a life happens while one request for memory, or that and all
/// later ones, is refused.
class Refusing {
public:
    explicit Refusing(bool andLaterOnes) : m_later(andLaterOnes) {
        create();
        for (Block& block : m_undisturbed) {
            block = play();
        }
    }

    void create() {
        m_effect.reset();
        m_imports.reset();
        m_changes = 0;
        const auto factory = m_module.factory();
        void* pEffect = nullptr;
        HRESULT hr = S_OK;
        refused([&] { hr = factory->CreateInstance(nullptr, IID_IUnknown, &pEffect); });
        if (note(FAILED(hr))) {
            EXPECT_EQ(hr, E_OUTOFMEMORY);
            EXPECT_EQ(pEffect, nullptr);
            EXPECT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, &pEffect), S_OK);
        }
        m_effect.emplace(ComReference<IUnknown>(static_cast<IUnknown*>(pEffect)));
        EXPECT_EQ(lock(), S_OK);
    }

    void negotiateFormats() {
        FormatDouble output(floatFormat(channels));
        FormatDouble request(floatFormat(channels, 5.0F));
        HRESULT initialized = S_OK;
        HRESULT proposed = S_FALSE;
        const auto ask = [&] {
            initialized = m_effect->initialize();
            proposed = negotiate(*m_effect->apo, &output, &request).result;
        };
        refused(ask);
        EXPECT_TRUE(initialized == S_OK || initialized == E_OUTOFMEMORY) << initialized;
        EXPECT_TRUE(proposed == S_FALSE || proposed == E_OUTOFMEMORY) << proposed;
        note(initialized != S_OK || proposed != S_FALSE);
        ask();
        EXPECT_EQ(initialized, S_OK);
        EXPECT_EQ(proposed, S_FALSE);
    }

    void lockAgain() {
        EXPECT_EQ(m_effect->config->UnlockForProcess(), S_OK);
        refused([&] { EXPECT_EQ(lock(), S_OK); });
        const Block first = play();
        if (!note(first == m_unchanged)) {
            EXPECT_EQ(first, m_undisturbed[0]);
        }
    }

    void change() {
        EXPECT_EQ(m_effect->config->UnlockForProcess(), S_OK);
        EXPECT_EQ(lock(), S_OK);
        awaitIdleThread();
        const std::uint32_t tokensBefore = m_imports.calls("ReleaseSemaphore");
        refused([&] {
            announce(120);
            awaitIdleThread();
        });
        if (!note(m_imports.calls("ReleaseSemaphore") > tokensBefore)) {
            EXPECT_TRUE(arrivesAt(120)) << "a chain that is used is whole";
            return;
        }
        for (const Block& block : m_undisturbed) {
            EXPECT_EQ(play(), block);
        }
    }

    /// Takes a step again and again, each time with a later request refused, until there is none.
    void refuseEachRequestOf(const char* name, void (Refusing::*step)()) {
        int failures = 0;
        m_request = 0;
        do {
            ++m_request;
            (this->*step)();
            EXPECT_TRUE(m_wasRefused || !m_failed);
            failures += m_failed ? 1 : 0;
            const int next = m_request % 2 == 0 ? 20 : 40;
            announce(next);
            EXPECT_TRUE(arrivesAt(next)) << "the next change";
        } while (m_wasRefused && !testing::Test::HasFailure());
        std::printf("%s, refused %s: %d requests, without %d of which it fails\n", name,
                    m_later ? "from one on" : "once", m_request - 1, failures);
        EXPECT_GT(failures, 0);
    }

private:
    template <class Body> void refused(const Body& body) {
        RefusedRequests::refuse(m_request, m_later);
        body();
        m_wasRefused = RefusedRequests::stop();
    }

    bool note(bool failed) { return m_failed = failed; }

    HRESULT lock() {
        m_settings.write(settingsText(60));
        return m_effect->lock(floatFormat(channels), floatFormat(channels), frames);
    }

    void announce(int tenthsOfDb) {
        ++m_changes;
        m_settings.change(settingsText(tenthsOfDb));
    }

    /// The effect's thread waits twice for each change: for it, and for the token.
    void awaitIdleThread() {
        const std::uint32_t waits = 2 * m_changes + 1;
        EXPECT_TRUE(becomesTrue([&] { return m_imports.calls("WaitForMultipleObjects") >= waits; }));
    }

    Block play() { return m_effect->process(m_unchanged, channels, channels); }

    bool arrivesAt(int tenthsOfDb) {
        const float level = quiet * std::pow(10.0F, static_cast<float>(tenthsOfDb + 60) / 200.0F);
        return becomesTrue([&] { return std::abs(play().back() - level) < 0.02F * level; });
    }

    const Block m_unchanged = Block(frames * channels, quiet);
    const bool m_later;
    int m_request = 0;
    std::uint32_t m_changes = 0;
    bool m_wasRefused = false;
    /// Whether the step could not do its work.
    bool m_failed = false;
    SettingsWriter m_settings{settingsText(60)};
    ModuleUnderTest m_module;
    ImportWatch m_imports{m_module.handle()};
    RefusedRequests m_memory{m_imports};
    /// What an effect plays after a lock.
    std::array<Block, 20> m_undisturbed;
    std::optional<Effect> m_effect;
};

TEST(RefusedRequests, OfTheModuleLeaveWhatPlaysAndTheNextChangeIsHeard) {
    std::optional<OwnResources> before;
    for (const bool andLaterOnes : {false, true, false}) {
        SystemThread([andLaterOnes] {
            Refusing effect(andLaterOnes);
            effect.refuseEachRequestOf("creation", &Refusing::create);
            effect.refuseEachRequestOf("negotiation", &Refusing::negotiateFormats);
            effect.refuseEachRequestOf("lock", &Refusing::lockAgain);
            effect.refuseEachRequestOf("change", &Refusing::change);
        }).join();
        before = before.value_or(OwnResources::now());
        EXPECT_EQ(settledAt(*before), *before);
    }
}

} // namespace
} // namespace tovix::test
