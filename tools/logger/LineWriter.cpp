#include "logger/LineWriter.h"

#include "system/Locks.h"
#include "system/ThreadHoldingModule.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

namespace tovix::logger {
namespace {

/// All writers of the process. Never destroyed, as they are asked for at the process's very end.
SRWLOCK writersLock = SRWLOCK_INIT;
LineWriter* pWriters = nullptr;

using Head = std::array<char, 48>;

/// "2024-05-01T12:34:56.789Z 4711 ", the time in UTC and the process.
std::string_view formatHead(Head& head) noexcept {
    SYSTEMTIME now{};
    ::GetSystemTime(&now);
    const int length =
        std::snprintf(head.data(), head.size(), "%04u-%02u-%02uT%02u:%02u:%02u.%03uZ %lu ", now.wYear, now.wMonth,
                      now.wDay, now.wHour, now.wMinute, now.wSecond, now.wMilliseconds, ::GetCurrentProcessId());
    return {head.data(), static_cast<std::size_t>(std::max(length, 0))};
}

/// A debugger on this process, or a viewer of the whole session's debugger output. Asked because the output is slow,
/// an exception for each line, also when nobody reads it.
bool debuggerListens() noexcept {
    return ::IsDebuggerPresent() != FALSE ||
           KernelHandle(::OpenFileMappingW(FILE_MAP_READ, FALSE, L"DBWIN_BUFFER")) != nullptr;
}

void showToDebugger(std::string_view text) noexcept {
    if (!debuggerListens()) {
        return;
    }
    std::array<char, LineQueue::longestLine + std::tuple_size_v<Head> + 3> line{};
    while (!text.empty()) {
        const auto length = std::min(std::min(text.find('\n'), text.size() - 1) + 1, line.size() - 1);
        *std::copy_n(text.data(), length, line.data()) = '\0';
        ::OutputDebugStringA(line.data());
        text.remove_prefix(length);
    }
}

} // namespace

std::shared_ptr<LineWriter> LineWriter::start() noexcept {
    try {
        std::shared_ptr<LineWriter> pWriter(new LineWriter);
        auto pShared = std::make_unique<std::shared_ptr<LineWriter>>(pWriter);
        if (!pWriter->m_hFinished || !startThreadHoldingModule<&run>(pShared.get())) {
            return nullptr;
        }
        static_cast<void>(pShared.release());
        return pWriter;
    } catch (...) {
        return nullptr;
    }
}

LineWriter::LineWriter() : m_file(logFilePaths()), m_hFinished(::CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
    const Exclusive guard(writersLock);
    m_pNext = std::exchange(pWriters, this);
}

LineWriter::~LineWriter() {
    const Exclusive guard(writersLock);
    LineWriter** ppLink = &pWriters;
    while (*ppLink != this) {
        ppLink = &(*ppLink)->m_pNext;
    }
    *ppLink = m_pNext;
}

void LineWriter::write(std::string_view line) noexcept {
    Head head;
    const auto stamp = formatHead(head);
    {
        const Exclusive guard(m_lock);
        m_queue.push(stamp, line);
        if (m_threadsAreGone) {
            writeBatch(m_queue.take());
        }
    }
    ::WakeConditionVariable(&m_filled);
}

void LineWriter::finish() noexcept {
    {
        const Exclusive guard(m_lock);
        if (m_threadsAreGone) {
            return;
        }
        m_finishing = true;
        if (!m_threadRuns) {
            writeBatch(m_queue.take());
            return;
        }
    }
    ::WakeConditionVariable(&m_filled);
    constexpr DWORD longestWaitMs = 1000;
    ::WaitForSingleObject(m_hFinished.get(), longestWaitMs);
}

DWORD LineWriter::run(void* pShared) noexcept {
    const std::unique_ptr<std::shared_ptr<LineWriter>> pOwn(static_cast<std::shared_ptr<LineWriter>*>(pShared));
    (*pOwn)->runUntilFinished();
    ::SetEvent((*pOwn)->m_hFinished.get());
    return 0;
}

void LineWriter::runUntilFinished() noexcept {
    {
        const Exclusive guard(m_lock);
        m_threadRuns = true;
    }
    while (true) {
        LineQueue::Batch batch{};
        {
            const Exclusive guard(m_lock);
            while (m_queue.empty() && !m_finishing) {
                ::SleepConditionVariableSRW(&m_filled, &m_lock, INFINITE, 0);
            }
            if (m_queue.empty()) {
                return;
            }
            batch = m_queue.take();
        }
        writeBatch(batch);
    }
}

void LineWriter::writeBatch(const LineQueue::Batch& batch) const noexcept {
    m_file.append(batch.text);
    showToDebugger(batch.text);
    if (batch.lostLines > 0) {
        std::array<char, 48> note{};
        std::snprintf(note.data(), note.size(), "(%u lines were lost here)\r\n", batch.lostLines);
        m_file.append(note.data());
        showToDebugger(note.data());
    }
}

void LineWriter::takeOver() noexcept {
    // A thread that the system ended in here holds it forever.
    if (::TryAcquireSRWLockExclusive(&m_lock) != FALSE) {
        m_threadsAreGone = true;
        if (!m_queue.empty()) {
            writeBatch(m_queue.take());
        }
        ::ReleaseSRWLockExclusive(&m_lock);
    }
}

void LineWriter::takeOverAll() noexcept {
    if (::TryAcquireSRWLockExclusive(&writersLock) == FALSE) {
        return;
    }
    for (LineWriter* pWriter = pWriters; pWriter != nullptr; pWriter = pWriter->m_pNext) {
        pWriter->takeOver();
    }
    ::ReleaseSRWLockExclusive(&writersLock);
}

} // namespace tovix::logger
