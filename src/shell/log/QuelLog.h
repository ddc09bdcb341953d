#pragma once

#include "log/IQuelLoggerUser.h"
#include "log/Log.h"
#include "log/LoggerLink.h"
#include "system/Locks.h"
#include "system/WinHandles.h"

#include <array>

namespace tovix {

template <class T> class MadeOnce;

/// The process's one logger: the backend of every log line (Log.h), and the keeper of the optional logger
/// library "Logger64.dll". The library is loaded by the full path beside the module that contains this class
/// and in no other way. Without it, or when it refuses, nothing is written and everything else runs unchanged.
///
/// [control], any thread. Nothing here throws, fails visibly, or changes the calling thread's last error. What
/// the library throws is dropped with the line. A library that is slow keeps its own caller waiting and nobody
/// else, except those who wait for the loading itself or for `Detach`.
class QuelLog final : public IQuelLoggerUser {
public:
    /// Created on first use with level 0 and no library; destroyed at module exit, when the library is
    /// released. While the whole process ends it is left alone, since its module may be gone already.
    static QuelLog& instance() noexcept;

    /// For the COM entry points. Reads the level from the registry and takes the library into use if some other
    /// code of the process has loaded it; otherwise the first line that is written will try to load it.
    void attach() noexcept;

    /// Hands a finished line to the library, or drops it. The first call of the process tries to load the
    /// library; when that gives no logger the level drops to 0.
    void write(const char* line) noexcept;

    void* deletingDestructor(std::uint32_t flags) noexcept override;
    std::int32_t Detach() noexcept override;

    QuelLog(const QuelLog&) = delete;
    QuelLog& operator=(const QuelLog&) = delete;

private:
    friend class MadeOnce<QuelLog>;

    enum class LoadPolicy { OnlyAlreadyLoaded, MayLoad };

    QuelLog() noexcept;
    ~QuelLog();

    bool load(const wchar_t* applicationName, std::int32_t offeredLevel, LoadPolicy policy) noexcept;
    bool useLibrary(ModuleReference library, const wchar_t* applicationName, std::int32_t offeredLevel) noexcept;
    void loadOnce() noexcept;
    void release() noexcept;

    std::array<wchar_t, 65> m_applicationName{};
    bool m_loadAttempted = false;
    CriticalSection m_lock;
    LoggerLink m_link;
    LogBackend m_previousBackend;
};

} // namespace tovix
