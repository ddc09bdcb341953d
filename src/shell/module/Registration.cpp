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

FunctionLog logOf(const char* function) noexcept {
    return {function, "DllMain", nullptr};
}

/// What every registration export starts with.
void logStart(const FunctionLog& log) noexcept {
    QuelLog::instance().attach();
    log.info("Entered");
    LogProcessInfo();
}

constexpr const wchar_t* machineRoot = L"HKEY_LOCAL_MACHINE\\";

std::wstring classKey() {
    return L"SOFTWARE\\Classes\\CLSID\\" + classIdText(effectClassId);
}

std::wstring serverKey() {
    return classKey() + L"\\InprocServer32";
}

void writeClassKeys(const std::wstring& modulePath) {
    for (const auto& value : classValues(modulePath)) {
        const std::wstring key = machineRoot + value.key;
        createRegistryKey(key);
        writeRegistryValue(key, value.name, value.text);
    }
}

HRESULT registerWith(const FunctionLog& log, const std::wstring& modulePath) {
    if (const HRESULT hr = RegisterAPO(registrationRecord); FAILED(hr)) {
        log.error("RegisterAPO() FAILED");
        UnregisterAPO(effectClassId);
        return hr;
    }
    try {
        writeClassKeys(modulePath);
    } catch (const RegistryException& failure) {
        log.error("RegistryException caught. msg=", failure.message());
        UnregisterAPO(effectClassId);
        return E_FAIL;
    } catch (...) {
        UnregisterAPO(effectClassId);
        throw;
    }
    log.info("SUCCEEDED");
    return S_OK;
}

} // namespace

std::vector<ClassValue> classValues(const std::wstring& modulePath) {
    return {{classKey(), L"", L"Tovix Global Effect"},
            {serverKey(), L"", modulePath},
            {serverKey(), L"ThreadingModel", L"Both"}};
}

HRESULT registerServer(HINSTANCE instance) noexcept {
    const FunctionLog log = logOf("DllRegisterServer");
    logStart(log);
    std::array<wchar_t, modulePathCapacity> path{};
    const DWORD length = ::GetModuleFileNameW(instance, path.data(), modulePathCapacity);
    if (length == 0 || length == modulePathCapacity) {
        return E_FAIL; // a path that was cut would register another file
    }
    return atComEdge([&] { return registerWith(log, std::wstring(path.data(), length)); });
}

HRESULT unregisterServer() noexcept {
    const FunctionLog log = logOf("DllUnregisterServer");
    logStart(log);
    return atComEdge([&] {
        try {
            deleteRegistryKey(machineRoot + serverKey());
            deleteRegistryKey(machineRoot + classKey());
        } catch (const RegistryException& failure) {
            log.error("RegistryException caught. msg=", failure.message());
            return E_FAIL;
        }
        const HRESULT hr = UnregisterAPO(effectClassId);
        if (SUCCEEDED(hr)) {
            log.info("SUCCEEDED");
        }
        return hr;
    });
}

} // namespace tovix
