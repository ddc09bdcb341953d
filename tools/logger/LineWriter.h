#pragma once

#include "logger/LineQueue.h"
#include "logger/LogFile.h"

#include <memory>
#include <string_view>

namespace tovix::logger {

/// Brings lines to the log file and to a debugger, on a thread of its own: a caller never waits for a disk, a
/// debugger or another process, only for the copying of another caller's line. What the thread cannot keep up with is
/// dropped and counted in the file. [control], any thread.
///
/// The thread shares the writer, because nobody can wait for its end: a library is released under the loader's lock,
/// which an ending thread needs. It holds the library's module as well.
class LineWriter {
public:
    /// A writer with its thread running; null without memory or thread.
    static std::shared_ptr<LineWriter> start() noexcept;

    /// Queues one line.
    void write(std::string_view line) noexcept;

    /// Lets the thread write what there is and end; waits at most a second for the writing, or writes by itself if
    /// the thread has not started yet. No line may follow.
    void finish() noexcept;

    /// For the end of the process, when the system has ended all threads but the calling one, wherever they stood:
    /// writes what is left of each writer, which then writes on the caller's thread.
    static void takeOverAll() noexcept;

    ~LineWriter();
    LineWriter(const LineWriter&) = delete;
    LineWriter& operator=(const LineWriter&) = delete;

private:
    LineWriter();

    static DWORD run(void* pShared) noexcept;
    void runUntilFinished() noexcept;
    void writeBatch(const LineQueue::Batch& batch) const noexcept;
    void takeOver() noexcept;

    LogFile m_file;
    KernelHandle m_hFinished;
    SRWLOCK m_lock = SRWLOCK_INIT;
    CONDITION_VARIABLE m_filled = CONDITION_VARIABLE_INIT;
    LineQueue m_queue;
    bool m_finishing = false;
    /// A new thread needs the loader's lock to start; a library that is released soon after it was loaded holds that
    /// lock and would deadlock waiting for the thread.
    bool m_threadRuns = false;
    bool m_threadsAreGone = false;
    LineWriter* m_pNext = nullptr;
};

} // namespace tovix::logger
