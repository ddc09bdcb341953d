// A process that logs and builds as the effect does, or harms its settings.

#include "log/QuelLog.h"
#include "platform/AudioEngineAllocator.h"
#include "support/BuildingEffects.h"
#include "support/CommandLoop.h"
#include "support/SettingsWriter.h"
#include "system/WinHandles.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <optional>
#include <random>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using namespace tovix;

void writeInfo(const std::string& text) {
    FunctionLog("Class::Method", "folder\\Source", nullptr).info({text, 7});
}

std::string currentLevel() {
    return std::to_string(static_cast<std::int32_t>(logLevel()));
}

/// Threads that write lines and attach at once; returns the number of lines.
std::string storm(const std::string& milliseconds) {
    std::atomic<int> written{0};
    const ULONGLONG end = ::GetTickCount64() + std::stoull(milliseconds);
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

/// Loads a module with a logger of its own, which writes a line; then lets the module go, or leaves that to the
/// end of the process where the lifetime before its path is "keep".
std::string logInModule(const std::string& lifetimeAndPath) {
    const auto blank = lifetimeAndPath.find(' ');
    ModuleReference module(::LoadLibraryW(std::filesystem::path(lifetimeAndPath.substr(blank + 1)).c_str()));
    moduleExport<void()>(module.get(), "LogOneLine")();
    if (lifetimeAndPath.starts_with("keep ")) {
        static_cast<void>(module.release());
    }
    return "ok";
}

std::atomic<bool> hostile{false};
std::thread hostileThread;
std::uint64_t hostileDeeds = 0;

/// Rewrites the settings page, from "rewrite" on, or signals without a pause, until "stop".
std::string beHostile(bool rewrites, const std::string& seed) {
    hostile = true;
    hostileThread = std::thread([rewrites, random = std::mt19937(std::stoul(seed))]() mutable {
        // What the effect takes, and not; bytes of every value come beside it.
        static constexpr std::string_view lines =
            "Boost: 2147483647 dB 0\nEqualizer: 100 -3 1e30 nan 10000 1e999\nEnableOldApo:\nMaximizer: 60 dB -10\n"
            "Equalizer: 20 12 20000 -12\nBoost: -99 dB 1\nEqualizer: 1 6\nMaximizer: 1e38 dB inf\n#EnableOldApo:\n";
        test::SettingsWriter page("");
        for (hostileDeeds = 0; hostile; ++hostileDeeds) {
            std::string bytes(random() % 8 == 0 ? 256 : 2, '\0');
            std::generate(bytes.begin(), bytes.end(), [&random] { return static_cast<char>(random()); });
            if (!rewrites) {
                page.signal();
            } else if (random() % 2 == 0) {
                const std::size_t lineStart = lines.rfind('\n', random() % lines.size()) + 1;
                page.overwrite(random() % 3 * (random() % 100), lines.substr(lineStart, random() % 100));
            } else {
                page.overwrite(random() % 256, bytes);
            }
        }
    });
    return "ok";
}

std::optional<test::BuildingEffects> buildingEffects;

} // namespace

/// For a logger library that calls back.
extern "C" __declspec(dllexport) void LogAgain() {
    QuelLog::instance().attach();
    writeInfo("again");
}

int main() {
    using Text = const std::string&;
    return tovix::test::obeyCommands({
        {"thread", [](Text) { return std::to_string(::GetCurrentThreadId()); }},
        {"attach", [](Text) { return QuelLog::instance().attach(), currentLevel(); }},
        {"info", [](Text text) { return writeInfo(text), currentLevel(); }},
        {"storm", storm},
        {"last-error",
         [](Text) { return ::SetLastError(1234), writeInfo("line"), std::to_string(::GetLastError()); }},
        {"allocator", [](Text) { return installAudioEngineAllocator() ? "installed" : "not installed"; }},
        {"load", [](Text path) { return ::LoadLibraryW(std::filesystem::path(path).c_str()) ? "ok" : "failed"; }},
        {"module", logInModule},
        {"effects", [](Text count) { return buildingEffects.emplace(std::stoi(count)), "ok"; }},
        {"rewrite", [](Text seed) { return beHostile(true, seed); }},
        {"signal", [](Text seed) { return beHostile(false, seed); }},
        {"stop", [](Text) { return hostile = false, hostileThread.join(), std::to_string(hostileDeeds); }},
        {"hold", [](Text) { return buildingEffects->hold(), "held"; }},
        {"release", [](Text) { return buildingEffects->release(), "released"; }},
        {"builds", [](Text count) { return std::to_string(buildingEffects->awaitBuilds(std::stoi(count))); }},
        {"loaded", [](Text) { return ::GetModuleHandleW(L"Logger64.dll") != nullptr ? "yes" : "no"; }},
    });
}
