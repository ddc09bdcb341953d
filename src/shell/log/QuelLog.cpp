#include "log/QuelLog.h"

#include "log/LoggerLibrary.h"
#include "system/GuardedCall.h"
#include "system/ProcessQueries.h"
#include "system/RegistrySettings.h"

#include <algorithm>
#include <mutex>
#include <string_view>

namespace tovix {
namespace {

/// Keeps the calling thread's last error: logging must not change what the code around it sees.
class KeptLastError {
public:
    KeptLastError() noexcept : m_error(::GetLastError()) {}
    ~KeptLastError() { ::SetLastError(m_error); }
    KeptLastError(const KeptLastError&) = delete;
    KeptLastError& operator=(const KeptLastError&) = delete;

private:
    DWORD m_error;
};

} // namespace

QuelLog& QuelLog::instance() noexcept {
    static QuelLog log;
    return log;
}

QuelLog::QuelLog() noexcept : m_previousBackend(logBackend()) {
    setLogLevel(LogLevel::None);
    installLogBackend({
        [](const char* line) noexcept { instance().write(line); },
        []() noexcept { return std::uint32_t{::GetCurrentThreadId()}; },
    });
}

QuelLog::~QuelLog() {
    setLogLevel(LogLevel::None);
    installLogBackend(m_previousBackend);
    if (!processIsEnding()) {
        release();
    }
}

void QuelLog::attach() noexcept {
    const KeptLastError keptError;
    const std::lock_guard guard(m_lock);
    if (m_link.held()) {
        return;
    }
    const auto level = static_cast<std::int32_t>(ReadLogLevelSetting());
    if (load(volmoraName, level, LoadPolicy::OnlyAlreadyLoaded)) {
        m_loadAttempted = true;
    } else if (m_applicationName.front() == L'\0') {
        setLogLevel(static_cast<LogLevel>(level));
        const std::wstring_view name(volmoraName);
        name.copy(m_applicationName.data(), m_applicationName.size() - 1);
    }
}

void QuelLog::write(const char* line) noexcept {
    const KeptLastError keptError;
    loadOnce();
    m_link.pass(line);
}

void QuelLog::loadOnce() noexcept {
    const std::lock_guard guard(m_lock);
    if (m_loadAttempted) {
        return;
    }
    m_loadAttempted = true;
    if (!load(m_applicationName.data(), static_cast<std::int32_t>(logLevel()), LoadPolicy::MayLoad)) {
        setLogLevel(LogLevel::None);
    }
}

bool QuelLog::load(const wchar_t* applicationName, std::int32_t offeredLevel, LoadPolicy policy) noexcept {
    const LoggerLibraryPath path = loggerLibraryPath();
    if (path.front() == L'\0') {
        return false;
    }
    HMODULE hLibrary = nullptr;
    if (policy == LoadPolicy::MayLoad) {
        hLibrary = ::LoadLibraryW(path.data());
    } else if (::GetModuleHandleExW(0, path.data(), &hLibrary) == FALSE) {
        hLibrary = nullptr;
    }
    return hLibrary != nullptr && useLibrary(ModuleReference(hLibrary), applicationName, offeredLevel);
}

bool QuelLog::useLibrary(ModuleReference library, const wchar_t* applicationName,
                         std::int32_t offeredLevel) noexcept {
    const unsigned generation = m_link.generation();
    IQuelLogger* pLogger = nullptr;
    auto* const pProvide = moduleExport<ProvideLoggerFunction>(library.get(), "ProvideLogger");
    const bool provided =
        pProvide != nullptr && guardedCall([&, this] { pLogger = pProvide(applicationName, offeredLevel, this); });
    if (provided && pLogger != nullptr && m_link.keep(pLogger, library.get(), generation)) {
        static_cast<void>(library.release());
        setLogLevel(static_cast<LogLevel>(m_link.wantedLevel()));
        return true;
    }
    if (m_link.generation() != generation) {
        // It detached itself while it was asked, which leaves the reference to it.
        static_cast<void>(library.release());
    }
    setLogLevel(LogLevel::None);
    return false;
}

void QuelLog::release() noexcept {
    IQuelLogger* const pLogger = m_link.closeInterface();
    const HMODULE hLibrary = m_link.module();
    if (pLogger == nullptr || hLibrary == nullptr) {
        return;
    }
    auto* const pRelease = moduleExport<ReleaseLoggerFunction>(hLibrary, "ReleaseLogger");
    if (pRelease != nullptr) {
        guardedCall([&, this] { pRelease(pLogger, this); });
    }
    // None when the library has detached itself while it was released.
    const ModuleReference library(m_link.takeModule());
}

void* QuelLog::deletingDestructor(std::uint32_t /*flags*/) noexcept {
    return this;
}

std::int32_t QuelLog::Detach() noexcept {
    m_link.forget();
    return 0;
}

} // namespace tovix
