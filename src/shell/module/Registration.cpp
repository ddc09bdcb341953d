#include "module/Registration.h"

#include "apo/RegistrationRecord.h"
#include "log/Log.h"
#include "log/QuelLog.h"
#include "module/ProcessInfo.h"
#include "platform/ApoRegistration.h"
#include "platform/ComEdge.h"
#include "system/RegistryUtils.h"

#include <array>

namespace tovix {
namespace {

constexpr DWORD modulePathCapacity = 1024;

class ExportLog {
public:
    explicit ExportLog(const char* function) noexcept : m_function(function) {}

    void write(LogLevel level, std::string_view text, std::uint32_t line = __builtin_LINE()) const noexcept {
        write(level, text, std::wstring_view(), line);
    }
    void write(LogLevel level, std::string_view text, std::wstring_view end,
               std::uint32_t line = __builtin_LINE()) const noexcept {
        if (logEnabled(level)) {
            LogLine(level, {m_function, "DllMain", line}, nullptr).text(text).text(end).write();
        }
    }
    /// What every registration export starts with.
    void enter(std::uint32_t line = __builtin_LINE()) const noexcept {
        QuelLog::instance().attach();
        write(LogLevel::Info, "Entered", line);
        LogProcessInfo();
    }

private:
    const char* m_function;
};

std::wstring classKey() {
    return L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\CLSID\\" + classIdText(effectClassId);
}

void writeClassKeys(const std::wstring& modulePath) {
    const std::wstring key = classKey();
    createRegistryKey(key);
    writeRegistryValue(key, L"", L"Tovix Global Effect");
    const std::wstring serverKey = key + L"\\InprocServer32";
    createRegistryKey(serverKey);
    writeRegistryValue(serverKey, L"", modulePath);
    writeRegistryValue(serverKey, L"ThreadingModel", L"Both");
}

HRESULT registerWith(const ExportLog& log, const std::wstring& modulePath) {
    if (const HRESULT hr = RegisterAPO(registrationRecord); FAILED(hr)) {
        log.write(LogLevel::Error, "RegisterAPO() FAILED");
        UnregisterAPO(effectClassId);
        return hr;
    }
    try {
        writeClassKeys(modulePath);
    } catch (const RegistryException& failure) {
        log.write(LogLevel::Error, "RegistryException caught. msg=", failure.message());
        UnregisterAPO(effectClassId);
        return E_FAIL;
    } catch (...) {
        UnregisterAPO(effectClassId);
        throw;
    }
    log.write(LogLevel::Info, "SUCCEEDED");
    return S_OK;
}

} // namespace

HRESULT registerServer(HINSTANCE instance) noexcept {
    const ExportLog log("DllRegisterServer");
    log.enter();
    std::array<wchar_t, modulePathCapacity> path{};
    const DWORD length = ::GetModuleFileNameW(instance, path.data(), modulePathCapacity);
    if (length == 0 || length == modulePathCapacity) {
        return E_FAIL; // a path that was cut would register another file
    }
    return atComEdge([&] { return registerWith(log, std::wstring(path.data(), length)); });
}

HRESULT unregisterServer() noexcept {
    const ExportLog log("DllUnregisterServer");
    log.enter();
    return atComEdge([&] {
        try {
            const std::wstring key = classKey();
            deleteRegistryKey(key + L"\\InprocServer32");
            deleteRegistryKey(key);
        } catch (const RegistryException& failure) {
            log.write(LogLevel::Error, "RegistryException caught. msg=", failure.message());
            return E_FAIL;
        }
        const HRESULT hr = UnregisterAPO(effectClassId);
        if (SUCCEEDED(hr)) {
            log.write(LogLevel::Info, "SUCCEEDED");
        }
        return hr;
    });
}

} // namespace tovix
