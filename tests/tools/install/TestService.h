#pragma once

#include "support/BecomesTrue.h"
#include "support/ChildProcess.h"

#include <windows.h>

#include <memory>
#include <string>

namespace tovix::test {

/// A service of this machine for the object's life; it runs `tovix-test-service`.
class TestService {
public:
    /// It marks its starts and stops in `record`, a file, with `mark`, and has a library loaded while it runs.
    TestService(const wchar_t* name, std::filesystem::path record, std::wstring mark,
                std::filesystem::path library = {})
        : m_record(std::move(record)), m_mark(std::move(mark)), m_library(std::move(library)),
          m_stopped(::CreateEventW(nullptr, TRUE, FALSE, (L"Global\\TovixTestService-" + m_mark).c_str())),
          m_manager(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS)) {
        // One of this name that has been deleted goes when the last handle on it does.
        static_cast<void>(becomesTrue([this, name] {
            m_service.reset(::CreateServiceW(m_manager.get(), name, name, SERVICE_ALL_ACCESS,
                                             SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL,
                                             command(L"obeys").c_str(), nullptr, nullptr, nullptr, nullptr, nullptr));
            return m_service != nullptr;
        }));
        ::StartServiceW(m_service.get(), 0, nullptr);
        static_cast<void>(becomesTrue([this] { return isRunning(); }));
    }
    ~TestService() {
        ::SetEvent(m_stopped.get());
        static_cast<void>(becomesTrue([this] { return state() == SERVICE_STOPPED; }));
        ::DeleteService(m_service.get());
    }

    /// From the next start on: "obeys", "hangs-at-stop" or "dies".
    void behave(const wchar_t* how) const {
        ::ChangeServiceConfigW(m_service.get(), SERVICE_NO_CHANGE, SERVICE_NO_CHANGE, SERVICE_NO_CHANGE,
                               command(how).c_str(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
    }
    [[nodiscard]] bool isRunning() const { return state() == SERVICE_RUNNING; }

private:
    struct Close {
        void operator()(SC_HANDLE handle) const noexcept { ::CloseServiceHandle(handle); }
    };

    [[nodiscard]] std::wstring command(const wchar_t* how) const {
        return L"\"" + (programFolder() / "tovix-test-service.exe").wstring() + L"\" " + how + L" \"" +
               m_record.wstring() + L"\" " + m_mark +
               (m_library.empty() ? L"" : L" \"" + m_library.wstring() + L"\"");
    }
    [[nodiscard]] DWORD state() const {
        SERVICE_STATUS status{};
        ::QueryServiceStatus(m_service.get(), &status);
        return status.dwCurrentState;
    }

    std::filesystem::path m_record;
    std::wstring m_mark;
    std::filesystem::path m_library;
    KernelHandle m_stopped;
    std::unique_ptr<SC_HANDLE__, Close> m_manager;
    std::unique_ptr<SC_HANDLE__, Close> m_service;
};

} // namespace tovix::test
