#pragma once

#include "system/WinHandles.h"

#include <functional>
#include <utility>

namespace tovix::test {

/// Runs `body` on a thread of the system's own and is joined at the latest at its end. For whoever counts handles:
/// the compiler's threads share a lock that makes itself an event when two of them first want it at once, and keeps
/// it.
class SystemThread {
public:
    explicit SystemThread(std::function<void()> body)
        : m_body(std::move(body)), m_thread(::CreateThread(nullptr, 0, &run, &m_body, 0, nullptr)) {}
    ~SystemThread() { join(); }

    void join() { ::WaitForSingleObject(m_thread.get(), INFINITE); }

private:
    static DWORD WINAPI run(void* pBody) {
        (*static_cast<std::function<void()>*>(pBody))();
        return 0;
    }

    std::function<void()> m_body;
    KernelHandle m_thread;
};

} // namespace tovix::test
