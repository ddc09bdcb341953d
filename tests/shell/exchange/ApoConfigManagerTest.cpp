// Longer than most: all cases look at the same page and events, and most of them at an effect that waits for the
// page, in the same ways.

#include "exchange/ConfigHelper.h"
#include "support/BecomesTrue.h"
#include "support/ChildProcess.h"
#include "support/ImportWatch.h"
#include "support/LogCapture.h"
#include "support/OwnResources.h"
#include "support/RegistryValue.h"
#include "support/SettingsWriter.h"

#include <gtest/gtest.h>

#include <sddl.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <optional>
#include <vector>

namespace tovix::test {
namespace {

const std::string createLog = "ApoConfigManager::CreateSharedConfigData: ";
const std::string openLog = "ApoConfigManager::OpenSharedConfigData: ";
const std::string cannotOpen =
    "WARNING " + openLog +
    "canTryToOpen IS FALSE. Probably just finishing thread prematurely because of object's "
    "destruction.";
const std::string waitingLog = "INFO ApoConfigManager::SharedDataCreateThread: ";
const std::string beginsToWait = waitingLog + "Beginning to wait for shared config data creation";
const std::string ownText = "#Boost: 0 dB 0\n#EnableOldApo:";

constexpr const wchar_t* pageName = L"Global\\TovixConfigData";
constexpr const wchar_t* updateName = L"Global\\TovixDataUpdate";
constexpr const wchar_t* createName = L"Global\\TovixDataCreate";

/// Takes a name with an object of another kind, so that nobody can open or create what the name is meant for.
KernelHandle occupy(const wchar_t* name) {
    return KernelHandle(::CreateSemaphoreW(nullptr, 0, 1, name));
}

/// Another holder of one of the events.
class NamedEvent {
public:
    explicit NamedEvent(const wchar_t* name) : m_handle(::CreateEventW(nullptr, FALSE, FALSE, name)) {}
    void signal() const { ::SetEvent(m_handle.get()); }
    /// Takes the signal that is there or comes within the time.
    [[nodiscard]] bool comes(DWORD milliseconds = 50) const {
        return ::WaitForSingleObject(m_handle.get(), milliseconds) == WAIT_OBJECT_0;
    }

private:
    KernelHandle m_handle;
};

/// All bytes of the page.
std::string page() {
    const KernelHandle mapping(::OpenFileMappingW(FILE_MAP_READ, FALSE, pageName));
    const MappedView<char> view(static_cast<char*>(::MapViewOfFile(mapping.get(), FILE_MAP_READ, 0, 0, 256)));
    return view ? std::string(view.get(), 256) : "";
}

std::string padded(std::string text) {
    text.resize(256, '\0');
    return text;
}

std::string readPage(const ApoConfigManager& manager) {
    std::string stream;
    manager.ReadConfigData(stream);
    return stream;
}

/// Whether a change is announced to the manager within the time.
bool hears(ApoConfigManager& manager, LONGLONG milliseconds = 5000) {
    const KernelHandle timer(::CreateWaitableTimerW(nullptr, TRUE, nullptr));
    LARGE_INTEGER due{};
    due.QuadPart = -10000 * milliseconds;
    ::SetWaitableTimer(timer.get(), &due, 0, nullptr, nullptr, FALSE);
    return manager.awaitUpdate(timer.get());
}

/// Whether the thread of a manager that waits ends with it.
bool ends(std::unique_ptr<ApoConfigManager>& manager) {
    const ULONGLONG startMs = ::GetTickCount64();
    manager.reset();
    return ::GetTickCount64() - startMs < 4900;
}

void expectAChangeToArrive(ApoConfigManager& manager) {
    SettingsWriter("").change("changed");
    EXPECT_TRUE(hears(manager));
    EXPECT_STREQ(readPage(manager).c_str(), "changed");
}

TEST(ApoConfigManager, TextOfAControlSideThatCameFirstIsReadAndKept) {
    const std::string text = padded("Boost: 60 dB 1\nEqualizer: 100 -3");
    const SettingsWriter settings(text.c_str());
    const NamedEvent created(createName);
    const BriefLog log;
    {
        const ApoConfigManager manager;
        std::string stream = "before ";
        manager.ReadConfigData(stream);
        EXPECT_EQ(stream, "before " + text);
    }
    EXPECT_EQ(page(), text);
    EXPECT_FALSE(created.comes());
    const std::vector<std::string> expected{
        "INFO ApoConfigManager::ApoConfigManager: ENTERING",
        "INFO " + createLog + "m_pSharedData->Open( CONFIG_DATA_STRUCT ) SUCCEEDED",
        "INFO ApoConfigManager::ApoConfigManager: LEAVING",
        "INFO ApoConfigManager::~ApoConfigManager: ENTERING",
        "INFO ApoConfigManager::~ApoConfigManager: LEAVING",
    };
    EXPECT_EQ(log.lines(), expected);
}

TEST(ApoConfigManager, EffectThatComesFirstCreatesAZeroPageAndReleasesOneWaiter) {
    const NamedEvent created(createName);
    const BriefLog log;
    ApoConfigManager manager;
    EXPECT_TRUE(log.has("INFO " + createLog +
                        "m_pSharedData->Open( CONFIG_DATA_STRUCT ) FAILED. GetLastError()=2 ipcsRes=1. Trying to "
                        "create the struct..."));
    EXPECT_TRUE(log.has("INFO " + createLog + "m_pSharedData->Create( CONFIG_DATA_STRUCT, sa ) SUCCEEDED"));
    EXPECT_TRUE(created.comes());
    EXPECT_FALSE(created.comes());
    EXPECT_EQ(readPage(manager), padded(""));
    expectAChangeToArrive(manager);
}

/// An effect that can neither open nor create the page, beside what stands in its way.
struct WaitingEffect {
    KernelHandle obstacle;
    NamedEvent created{createName};
    NamedEvent updated{updateName};
    std::optional<SettingsWriter> settings;
    std::unique_ptr<ApoConfigManager> manager = std::make_unique<ApoConfigManager>();

    explicit WaitingEffect(KernelHandle inTheWay = occupy(pageName)) : obstacle(std::move(inTheWay)) {}

    void createPage(const std::string& text) {
        obstacle.reset();
        settings.emplace(text);
    }

    void createAndSignal(const std::string& text) {
        createPage(text);
        created.signal();
    }
};

TEST(ApoConfigManager, EffectThatMayNotCreateWaitsAndThenWritesItsOwnSettings) {
    const RegistryValue previousEffect(L"EnableOldApo", 2);
    const BriefLog log;
    WaitingEffect effect;
    EXPECT_EQ(effect.manager->GetSetting(2, 0), 1);
    EXPECT_EQ(effect.manager->GetSetting(2, 1), 0);
    effect.manager->SetSetting(0, 1, 60);
    EXPECT_EQ(readPage(*effect.manager), "");
    const std::string created = "Boost: 200 dB 1\nEqualizer: 100 -3 1000 0 10000 6";
    effect.createAndSignal(created);
    EXPECT_TRUE(effect.updated.comes(5000));
    // What stood behind the new text stays.
    const std::string own = "#Boost: 60 dB 0\nEnableOldApo:";
    std::string expected = padded(created);
    expected.replace(0, own.size() + 1, own.c_str(), own.size() + 1);
    EXPECT_EQ(page(), expected);
    EXPECT_EQ(readPage(*effect.manager), expected);
    const std::string lines[] = {
        "WARNING " + createLog +
            "m_pSharedData->Create( CONFIG_DATA_STRUCT, sa ) FAILED. GetLastError()=6 ipcsRes=2. Going to wait for "
            "other process to create the struct.",
        "INFO " + createLog + "Starting a thread to wait for the data creation",
        beginsToWait,
        waitingLog + "Wait for shared config data creation succeeded. Trying to open shared config data...",
        "INFO " + openLog + "m_pSharedData->Open(CONFIG_DATA_STRUCT) SUCCEEDED",
        "INFO ApoConfigManager::ReadConfigData: m_pSharedData DOESN'T EXIST"};
    for (const std::string& line : lines) {
        EXPECT_TRUE(log.has(line)) << line;
    }
}

TEST(ApoConfigManager, PageThatComesAndIsAnnouncedBeforeTheWaitIsOpenedAsItIs) {
    KernelHandle obstacle = occupy(pageName);
    std::optional<SettingsWriter> settings;
    const BriefLog log([&](const std::string& line) {
        if (line.find("Going to wait for other process") != std::string::npos) {
            obstacle.reset();
            settings.emplace("Boost: 60 dB 1");
            NamedEvent(createName).signal();
        }
    });
    const ApoConfigManager manager;
    EXPECT_EQ(readPage(manager), padded("Boost: 60 dB 1"));
    EXPECT_FALSE(log.has("INFO " + createLog + "Starting a thread to wait for the data creation"));
}

TEST(ApoConfigManager, OneCreationSignalOpensThePageForAllThatWaitHereAndOneOfThemWrites) {
    const KernelHandle turns(::CreateSemaphoreW(nullptr, 0, 2, nullptr));
    std::atomic<int> opened{0};
    const BriefLog log([&](const std::string& line) {
        if (line.ends_with("m_pSharedData->Open(CONFIG_DATA_STRUCT) SUCCEEDED")) {
            ++opened;
            ::WaitForSingleObject(turns.get(), 5000);
        }
    });
    WaitingEffect effect;
    auto second = std::make_unique<ApoConfigManager>();
    effect.createAndSignal("user");
    ASSERT_TRUE(becomesTrue([&] { return opened == 2; }));
    int written = 0;
    for (int turn = 0; turn < 2; ++turn) {
        effect.settings->write("user");
        ::ReleaseSemaphore(turns.get(), 1, nullptr);
        // Whether it writes or not, there is something to read.
        EXPECT_TRUE(becomesTrue([&] { return hears(*effect.manager, 10) || hears(*second, 10); }));
        written += std::strcmp(readPage(*effect.manager).c_str(), "user") != 0 ? 1 : 0;
        EXPECT_EQ(readPage(*second), page());
    }
    EXPECT_EQ(written, 1);
}

TEST(ApoConfigManager, DestructionWakesNoOtherWaiterAndTouchesNothing) {
    for (const bool hasStopEvent : {true, false}) {
        ImportWatch imports(::GetModuleHandleW(nullptr));
        if (!hasStopEvent) {
            imports.redirect(
                "CreateEventW", +[](SECURITY_ATTRIBUTES* sa, BOOL manual, BOOL, const wchar_t* name) {
                    return manual != FALSE ? nullptr : ::CreateEventExW(sa, name, 0, EVENT_ALL_ACCESS);
                });
        }
        const BriefLog log;
        const std::size_t threadsBefore = ownThreads();
        WaitingEffect effect;
        auto second = std::make_unique<ApoConfigManager>();
        EXPECT_TRUE(becomesTrue([&] {
            const auto lines = log.lines();
            return std::count(lines.begin(), lines.end(), beginsToWait) == 2;
        }));
        EXPECT_TRUE(ends(second));
        EXPECT_TRUE(log.has(cannotOpen));
        EXPECT_EQ(log.lines().back(), "INFO ApoConfigManager::~ApoConfigManager: LEAVING");
        effect.createPage("text");
        EXPECT_TRUE(ends(effect.manager));
        EXPECT_EQ(threadsSettledAt(threadsBefore), threadsBefore);
        EXPECT_EQ(page(), padded("text"));
        EXPECT_FALSE(effect.created.comes());
        EXPECT_FALSE(effect.updated.comes());
        for (const auto& line : log.lines()) {
            EXPECT_EQ(line.find("Open(CONFIG_DATA_STRUCT) FAILED"), std::string::npos) << "the other one was woken";
        }
    }
}

TEST(ApoConfigManager, WaitThatFailsEndsItsThread) {
    const std::size_t threadsBefore = ownThreads();
    ImportWatch imports(::GetModuleHandleW(nullptr));
    imports.redirect(
        "WaitForMultipleObjects", +[] { return WAIT_FAILED; });
    const WaitingEffect effect;
    EXPECT_EQ(threadsSettledAt(threadsBefore), threadsBefore);
}

/// How another program may have taken a name, and the error that the effect has with it as a page and as an event; 0
/// where it can use it.
struct Taken {
    const char* what;
    HANDLE (*take)(const wchar_t* name, SECURITY_ATTRIBUTES* sa);
    DWORD pageError;
    DWORD eventError;
    bool closed = false; // its descriptor lets nobody in
};

HANDLE section(const wchar_t* name, SECURITY_ATTRIBUTES* sa, DWORD protection, DWORD bytes) {
    return ::CreateFileMappingW(INVALID_HANDLE_VALUE, sa, protection, 0, bytes, name);
}

HANDLE moduleSection(const wchar_t* name, DWORD protection) {
    const KernelHandle file(::CreateFileW((programFolder() / "Tovix64.dll").c_str(), GENERIC_READ, FILE_SHARE_READ,
                                          nullptr, OPEN_EXISTING, 0, nullptr));
    return ::CreateFileMappingW(file.get(), nullptr, protection, 0, 0, name);
}

using Name = const wchar_t*;
using Security = SECURITY_ATTRIBUTES*;
constexpr DWORD other = ERROR_INVALID_HANDLE;
constexpr DWORD denied = ERROR_ACCESS_DENIED;
constexpr DWORD faulting = ERROR_INVALID_ADDRESS;
const Taken waysToTakeAName[] = {
    {"event", [](Name n, Security sa) { return ::CreateEventW(sa, FALSE, FALSE, n); }, other, 0},
    {"event that stays signalled", [](Name n, Security sa) { return ::CreateEventW(sa, TRUE, TRUE, n); }, other, 0},
    {"closed event", [](Name n, Security sa) { return ::CreateEventW(sa, FALSE, FALSE, n); }, other, denied, true},
    {"mutex", [](Name n, Security sa) { return ::CreateMutexW(sa, TRUE, n); }, other, other},
    {"semaphore", [](Name n, Security sa) { return ::CreateSemaphoreW(sa, 0, 1, n); }, other, other},
    {"timer", [](Name n, Security sa) { return ::CreateWaitableTimerW(sa, FALSE, n); }, other, other},
    {"job", [](Name n, Security sa) { return ::CreateJobObjectW(sa, n); }, other, other},
    {"short section", [](Name n, Security sa) { return section(n, sa, PAGE_READWRITE, 16); }, 0, other},
    {"long section", [](Name n, Security sa) { return section(n, sa, PAGE_READWRITE, 1 << 20); }, 0, other},
    {"closed section", [](Name n, Security sa) { return section(n, sa, PAGE_READWRITE, 256); }, denied, other, true},
    {"section without memory", [](Name n, Security sa) { return section(n, sa, PAGE_READWRITE | SEC_RESERVE, 256); },
     faulting, other},
    {"file", [](Name n, Security) { return moduleSection(n, PAGE_READONLY); }, denied, other},
    {"program", [](Name n, Security) { return moduleSection(n, PAGE_READONLY | SEC_IMAGE); }, faulting, other},
};

KernelHandle take(const Taken& way, const wchar_t* name) {
    PSECURITY_DESCRIPTOR pDescriptor = nullptr;
    ::ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:P", SDDL_REVISION_1, &pDescriptor, nullptr);
    const LocalMemory<void> descriptor(pDescriptor);
    SECURITY_ATTRIBUTES closed{sizeof(SECURITY_ATTRIBUTES), pDescriptor, FALSE};
    KernelHandle handle(way.take(name, way.closed ? &closed : nullptr));
    EXPECT_TRUE(handle) << way.what;
    return handle;
}

bool tells(const std::string& text, DWORD error) {
    const auto lines = BriefLog::lines();
    return std::any_of(lines.begin(), lines.end(), [&](const std::string& line) {
        return line.find(text + " FAILED. GetLastError()=" + std::to_string(error)) != std::string::npos;
    });
}

TEST(ApoConfigManager, NamesThatOthersHaveTakenAreToldLeaveItUsableAndAreUsedOnceTheyAreFree) {
    for (const Taken& way : waysToTakeAName) {
        SCOPED_TRACE(way.what);
        {
            // A logger may leave any last error behind.
            const BriefLog log([](const std::string&) { ::SetLastError(4321); });
            WaitingEffect effect(take(way, pageName));
            EXPECT_EQ(readPage(*effect.manager).empty(), way.pageError != 0);
            if (way.pageError == 0) {
                expectAChangeToArrive(*effect.manager);
            } else {
                EXPECT_TRUE(tells("Open( CONFIG_DATA_STRUCT )", way.pageError));
                EXPECT_TRUE(tells("Create( CONFIG_DATA_STRUCT, sa )", way.pageError));
                effect.manager->updateSharedData();
                effect.createAndSignal("text");
                EXPECT_TRUE(hears(*effect.manager));
                EXPECT_STREQ(readPage(*effect.manager).c_str(), ownText.c_str());
            }
        }
        {
            const BriefLog log;
            KernelHandle taken = take(way, updateName);
            ApoConfigManager manager;
            EXPECT_EQ(tells("CreateEvent(CONFIG_DATA_UPDATE_EVENT)", way.eventError), way.eventError != 0);
            manager.updateSharedData();
            EXPECT_TRUE(hears(manager));
            EXPECT_STREQ(readPage(manager).c_str(), ownText.c_str());
            taken.reset();
            ApoConfigManager next;
            expectAChangeToArrive(way.eventError == 0 ? manager : next);
        }
        const BriefLog log;
        KernelHandle taken = take(way, createName);
        {
            ApoConfigManager manager;
            EXPECT_EQ(tells("CreateEvent(CONFIG_DATA_CREATE_EVENT) 2", way.eventError), way.eventError != 0);
            expectAChangeToArrive(manager);
        }
        {
            const KernelHandle page = occupy(pageName);
            const ApoConfigManager waiting;
            EXPECT_EQ(tells("CreateEvent(CONFIG_DATA_CREATE_EVENT)", way.eventError), way.eventError != 0);
        }
        taken.reset();
        ApoConfigManager next;
        expectAChangeToArrive(next);
    }
}

TEST(ApoConfigManager, ACreationEventThatStaysSignalledDoesNotKeepItBusyAndItsEndComesFirst) {
    std::atomic<int> looks{0};
    const BriefLog log([&](const std::string& line) {
        looks += line.ends_with("m_pSharedData->Open(CONFIG_DATA_STRUCT) FAILED. GetLastError()=6 ipcsRes=1") ? 1 : 0;
    });
    const KernelHandle signalled(::CreateEventW(nullptr, TRUE, TRUE, createName));
    const ULONGLONG startMs = ::GetTickCount64();
    WaitingEffect effect;
    EXPECT_TRUE(becomesTrue([&] { return looks >= 4; }));
    EXPECT_LE(static_cast<ULONGLONG>(looks), (::GetTickCount64() - startMs) / 40 + 2);
    EXPECT_TRUE(ends(effect.manager)) << "the thread never sees that it shall end";
}

TEST(ApoConfigManager, AThousandLivesLeaveNoHandleThreadOrByte) {
    const auto expectNothingLeft = [](int lives) {
        { const ApoConfigManager warmUp; }
        const auto before = OwnResources::now();
        for (int i = 0; i < lives; ++i) {
            const ApoConfigManager manager;
        }
        EXPECT_EQ(settledAt(before), before);
    };
    expectNothingLeft(1000);
    const KernelHandle obstacle = occupy(pageName);
    expectNothingLeft(200);
}

TEST(ApoConfigManagerSlow, ThreadThatALoggerHoldsBeyondTheLimitFindsNothingToTouch) {
    const KernelHandle gate(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const BriefLog log([&gate](const std::string& line) {
        if (line.find("Beginning to wait") != std::string::npos) {
            ::WaitForSingleObject(gate.get(), INFINITE);
        }
    });
    const std::size_t threadsBefore = ownThreads();
    WaitingEffect effect;
    effect.createPage("text");
    const ULONGLONG startMs = ::GetTickCount64();
    effect.manager.reset();
    EXPECT_GE(::GetTickCount64() - startMs, 4900U);
    EXPECT_LT(::GetTickCount64() - startMs, 8000U);
    // Were what the thread shares free by now, one of these would take its place.
    std::vector<std::string> reused(64, std::string(sizeof(CreationWait) - 1, '\xEE'));
    reused.insert(reused.end(), 64, std::string(sizeof(ApoConfigManager) - 1, '\xEE'));
    ::SetEvent(gate.get());
    EXPECT_EQ(threadsSettledAt(threadsBefore), threadsBefore);
    EXPECT_TRUE(log.has(cannotOpen));
    EXPECT_EQ(page(), padded("text"));
}

} // namespace
} // namespace tovix::test
