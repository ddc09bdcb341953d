// A logger library that keeps a record of what is asked of it, in the file that DOUBLE_LOGGER_FILE names, and
// behaves as DOUBLE_LOGGER says: plain, null, throw, throw-level, platform-throw, slow, detach-inside, detach-other,
// detach-joined, detach-while-asked, detach-released, call-back, or a number, the level that it wants.

#include "log/IQuelLoggerUser.h"
#include "system/Locks.h"
#include "system/WinHandles.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>

namespace {

using tovix::IQuelLoggerUser;

std::string behaviour() {
    const char* const value = std::getenv("DOUBLE_LOGGER");
    return value != nullptr ? value : "plain";
}

void record(const std::string& event) {
    static tovix::CriticalSection lock;
    const std::lock_guard guard(lock);
    FILE* const pFile = std::fopen(std::getenv("DOUBLE_LOGGER_FILE"), "ab");
    std::fprintf(pFile, "%s\n", event.c_str());
    std::fclose(pFile);
}

/// Throws, as this compiler or as the platform's does, when the behaviour is to throw.
void misbehave() {
    if (behaviour() == "throw") {
        throw std::runtime_error("logger");
    }
    if (behaviour() == "platform-throw") {
        ::RaiseException(0xE06D7363, EXCEPTION_NONCONTINUABLE, 0, nullptr);
    }
}

/// Has the program attach and write a line from inside a call of its own, but not from inside that again.
void callBack() {
    static bool inside = false;
    if (behaviour() == "call-back" && !std::exchange(inside, true)) {
        tovix::moduleExport<void()>(::GetModuleHandleW(nullptr), "LogAgain")();
        inside = false;
    }
}

/// Set when a detaching has begun.
const tovix::KernelHandle detaching(::CreateEventW(nullptr, FALSE, FALSE, nullptr));
std::atomic<int> slowLines{0};

/// Until the second line is here the first one stays, a minute at most.
void awaitSecondLine() {
    ++slowLines;
    for (int i = 0; i < 6000 && slowLines < 2; ++i) {
        ::Sleep(10);
    }
    if (slowLines < 2) {
        record("alone");
    }
}

DWORD WINAPI detach(void* pUser) {
    record("detach");
    ::SetEvent(detaching.get());
    record("detached " + std::to_string(static_cast<IQuelLoggerUser*>(pUser)->Detach()));
    return 0;
}

class Logger final : public tovix::IQuelLogger {
public:
    IQuelLoggerUser* pUser = nullptr;

    void* deletingDestructor(std::uint32_t /*flags*/) override {
        record("slot 0");
        return this;
    }
    void reserved() override { record("slot 2"); }
    std::int32_t level() override {
        callBack();
        if (behaviour() == "throw-level") {
            throw 1;
        }
        const int wanted = std::atoi(behaviour().c_str());
        return wanted != 0 ? wanted : 5;
    }

    void writeLine(const char* line) override {
        record(std::string("line ") + line);
        misbehave();
        callBack();
        const std::string how = behaviour();
        if (how == "detach-inside") {
            detach(pUser);
        } else if (how == "detach-other" || how == "detach-joined") {
            const tovix::KernelHandle thread(::CreateThread(nullptr, 0, &detach, pUser, 0, nullptr));
            ::WaitForSingleObject(detaching.get(), INFINITE);
            ::WaitForSingleObject(thread.get(), how == "detach-joined" ? INFINITE : 300);
        } else if (how == "slow") {
            awaitSecondLine();
        }
        record("end");
    }
};

Logger theLogger;

} // namespace

extern "C" __declspec(dllexport) tovix::IQuelLogger* ProvideLogger(const wchar_t* name, std::int32_t level,
                                                                   IQuelLoggerUser* pUser) {
    record("provide " + std::string(name, name + std::wcslen(name)) + " " + std::to_string(level));
    theLogger.pUser = pUser;
    callBack();
    if (behaviour() == "detach-while-asked") {
        detach(pUser);
    }
    if (behaviour() == "throw-provide") {
        throw 1;
    }
    return behaviour() == "null" ? nullptr : &theLogger;
}

extern "C" __declspec(dllexport) void ReleaseLogger(tovix::IQuelLogger* pLogger, IQuelLoggerUser* pUser) {
    const bool isOurs = pLogger == &theLogger && pUser == theLogger.pUser;
    record(isOurs && pUser->deletingDestructor(0) == pUser ? "release" : "release of something else");
    callBack();
    misbehave();
    if (behaviour() == "detach-released") {
        detach(pUser);
    }
}
