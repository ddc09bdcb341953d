// A process that logs and allocates as the effect does: one command a line on the standard input. The reply is
// the log level, or what the command's comment says.

#include "log/QuelLog.h"
#include "memory/MemoryMgr.h"
#include "platform/AudioEngineAllocator.h"
#include "system/WinHandles.h"

#include <atomic>
#include <filesystem>
#include <iostream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace tovix;

void writeInfo(const std::string& text) {
    FunctionLog("Class::Method", "folder\\Source", nullptr).info({text, 7});
}

/// Threads that write lines and attach at once; returns the number of lines.
std::string storm(int milliseconds) {
    std::atomic<int> written{0};
    const ULONGLONG end = ::GetTickCount64() + static_cast<ULONGLONG>(milliseconds);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&written, end, i] {
            while (::GetTickCount64() < end) {
                if (i == 0) {
                    QuelLog::instance().attach();
                } else if (logEnabled(LogLevel::Info)) {
                    writeInfo("storm");
                    ++written;
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    return std::to_string(written);
}

/// Writes a line while another thread is inside the logger; returns the milliseconds that it took.
std::string writeBeside() {
    std::thread other([] { writeInfo("first"); });
    ::Sleep(300);
    const ULONGLONG startMs = ::GetTickCount64();
    QuelLog::instance().attach();
    std::thread second([] { writeInfo("second"); });
    other.join();
    second.join();
    return std::to_string(::GetTickCount64() - startMs);
}

/// Returns the last error after a line that has been written with 1234 as the last error.
std::string lastErrorAfterLine() {
    ::SetLastError(1234);
    writeInfo("line");
    return std::to_string(::GetLastError());
}

/// Returns whether the audio engine's allocator is in use, where a block came from, and how many blocks of that
/// allocator were out while the block was held and after it was given back.
std::string allocate() {
    std::ostringstream reply;
    reply << (installAudioEngineAllocator() ? "installed" : "not installed");
    auto* const pBlock = static_cast<signed char*>(MemoryMgr::alloc(100));
    reply << (pBlock[-1] > 16 ? " heap" : " locked");
    const HMODULE hEngine = ::GetModuleHandleW(L"audioeng.dll");
    auto* const pBlocksOut = hEngine != nullptr ? moduleExport<long()>(hEngine, "BlocksOut") : nullptr;
    reply << " " << (pBlocksOut != nullptr ? pBlocksOut() : -1);
    MemoryMgr::free(pBlock);
    reply << " " << (pBlocksOut != nullptr ? pBlocksOut() : -1);
    return reply.str();
}

/// Loads a module with a logger of its own, which writes a line; then lets the module go, or leaves that to the
/// end of the process.
std::string logInModule(const std::string& lifetime, const std::filesystem::path& path) {
    ModuleReference module(::LoadLibraryW(path.c_str()));
    if (!module) {
        return "not loaded";
    }
    moduleExport<void()>(module.get(), "LogOneLine")();
    if (lifetime == "keep") {
        static_cast<void>(module.release());
    }
    return "ok";
}

std::string reply(const std::string& command, std::istringstream& arguments) {
    std::string text;
    if (command == "thread") {
        return std::to_string(::GetCurrentThreadId());
    }
    if (command == "storm") {
        int milliseconds = 0;
        arguments >> milliseconds;
        return storm(milliseconds);
    }
    if (command == "beside") {
        return writeBeside();
    }
    if (command == "allocate") {
        return allocate();
    }
    if (command == "last-error") {
        return lastErrorAfterLine();
    }
    if (command == "load") { // as some other code of the process would
        std::getline(arguments >> std::ws, text);
        return ::LoadLibraryW(std::filesystem::path(text).c_str()) != nullptr ? "ok" : "failed";
    }
    if (command == "module") {
        std::string lifetime;
        std::getline(arguments >> lifetime >> std::ws, text);
        return logInModule(lifetime, text);
    }
    if (command == "loaded") { // whether any library of the name is in the process
        return ::GetModuleHandleW(L"Logger64.dll") != nullptr ? "yes" : "no";
    }
    if (command == "attach") {
        QuelLog::instance().attach();
    } else {
        std::getline(arguments >> std::ws, text);
        writeInfo(text);
    }
    return std::to_string(static_cast<std::int32_t>(logLevel()));
}

} // namespace

int main() {
    std::string line;
    while (std::getline(std::cin, line)) {
        std::istringstream words(line);
        std::string command;
        words >> command;
        std::cout << reply(command, words) << std::endl;
    }
    return 0;
}
