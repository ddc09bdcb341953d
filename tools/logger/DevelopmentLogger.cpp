#include "logger/DevelopmentLogger.h"

#include "log/Log.h"
#include "text/Utf.h"

#include <algorithm>
#include <array>
#include <new>

namespace tovix::logger {
namespace {

constexpr auto highestLevel = static_cast<std::int32_t>(LogLevel::Debug);

std::int32_t wantedLevel(std::int32_t offeredLevel) {
    const std::wstring text = environmentText(L"TOVIX_LOG_LEVEL");
    if (text.size() == 1 && text.front() >= L'0' && text.front() <= L'0' + highestLevel) {
        return text.front() - L'0';
    }
    return std::clamp(offeredLevel, 0, highestLevel);
}

std::wstring ownProgram() {
    std::array<wchar_t, MAX_PATH> path{};
    return {path.data(), ::GetModuleFileNameW(nullptr, path.data(), MAX_PATH)};
}

} // namespace

std::unique_ptr<DevelopmentLogger> DevelopmentLogger::make(const wchar_t* applicationName,
                                                           std::int32_t offeredLevel) noexcept {
    try {
        const std::int32_t level = wantedLevel(offeredLevel);
        auto pWriter = level > 0 ? LineWriter::start() : nullptr;
        if (!pWriter) {
            return nullptr;
        }
        pWriter->write("---- " + encodeUtf8(applicationName != nullptr ? applicationName : L"?") + " in " +
                       encodeUtf8(ownProgram()) + ", level " + std::to_string(level));
        return std::unique_ptr<DevelopmentLogger>(new DevelopmentLogger(std::move(pWriter), level));
    } catch (...) {
        return nullptr;
    }
}

void* DevelopmentLogger::deletingDestructor(std::uint32_t /*flags*/) noexcept {
    return nullptr;
}

void DevelopmentLogger::writeLine(const char* line) noexcept {
    if (line != nullptr) {
        m_pWriter->write(line);
    }
}

void DevelopmentLogger::reserved() noexcept {
    // The slot is there for its place in the table only.
}

} // namespace tovix::logger

// The library's two exports and its entry point. It never goes away on its own: the writer's thread holds the module
// until the effect releases the logger, so there is no moment at which it would have to detach itself.
extern "C" {

__declspec(dllexport) tovix::IQuelLogger* ProvideLogger(const wchar_t* applicationName, std::int32_t offeredLevel,
                                                        tovix::IQuelLoggerUser* /*pUser*/) noexcept {
    return tovix::logger::DevelopmentLogger::make(applicationName, offeredLevel).release();
}

__declspec(dllexport) void ReleaseLogger(tovix::IQuelLogger* pLogger, tovix::IQuelLoggerUser* /*pUser*/) noexcept {
    const std::unique_ptr<tovix::logger::DevelopmentLogger> pOwn(
        static_cast<tovix::logger::DevelopmentLogger*>(pLogger));
}

BOOL WINAPI DllMain(HINSTANCE /*hModule*/, DWORD reason, void* pProcessIsEnding) noexcept {
    if (reason == DLL_PROCESS_DETACH && pProcessIsEnding != nullptr) {
        tovix::logger::LineWriter::takeOverAll();
    }
    return TRUE;
}

} // extern "C"
