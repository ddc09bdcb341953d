#include "log/QuelLog.h"

#include "system/GuardedCall.h"
#include "system/MadeOnce.h"
#include "system/ProcessQueries.h"
#include "system/RegistrySettings.h"

#include <algorithm>
#include <mutex>
#include <string_view>

namespace tovix {
namespace {

/// Longest path that is taken for the effect's own module, terminator included.
constexpr DWORD modulePathCapacity = 260;
constexpr std::wstring_view libraryName = L"Logger64.dll";
/// What the effect calls itself before the library.
constexpr std::wstring_view applicationName = L"Volmora";

using LibraryPath = std::array<wchar_t, modulePathCapacity + libraryName.size()>;

/// Full path of the logger library beside the module that contains this function; empty when the module's own path
/// cannot be had whole, so that a bare file name, which the loader would search for, never comes out.
LibraryPath libraryPath() noexcept {
    LibraryPath path{};
    const HMODULE hOwnModule = moduleOfAddress(reinterpret_cast<const void*>(&libraryPath));
    const DWORD length =
        hOwnModule != nullptr ? ::GetModuleFileNameW(hOwnModule, path.data(), modulePathCapacity) : 0;
    const std::wstring_view own(path.data(), length);
    const auto separator = own.find_last_of(L"/\\");
    // A length of the whole buffer means that the path was cut.
    if (length >= modulePathCapacity || separator == std::wstring_view::npos) {
        return {};
    }
    auto* const pName = path.data() + separator + 1;
    std::fill(pName, path.data() + path.size(), L'\0');
    libraryName.copy(pName, libraryName.size());
    return path;
}

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
    return MadeOnce<QuelLog>::get();
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
    if (load(applicationName.data(), level, LoadPolicy::OnlyAlreadyLoaded)) {
        m_loadAttempted = true;
    } else if (m_applicationName.front() == L'\0') {
        setLogLevel(static_cast<LogLevel>(level));
        applicationName.copy(m_applicationName.data(), m_applicationName.size() - 1);
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
    const LibraryPath path = libraryPath();
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
