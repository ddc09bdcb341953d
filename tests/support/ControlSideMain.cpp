// The control application's end of the exchange, as a process of its own: one command a line on the standard
// input, one answer a line on the standard output. Names and sizes are written out here, not shared with the
// effect, so that the two ends check each other.

#include "system/WinHandles.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <map>
#include <random>
#include <sstream>
#include <string>

namespace {

using tovix::KernelHandle;
using tovix::MappedView;

constexpr const wchar_t* pageName = L"Global\\TovixConfigData";
constexpr std::size_t pageBytes = 256;

struct ControlSide {
    KernelHandle page;
    MappedView<char> view;
    std::map<std::string, KernelHandle> events;

    std::string answer(const std::string& command, std::istringstream& arguments);
    std::string map(HANDLE hMapping);
    std::string occupy(const std::string& what);
    std::string unviewable();
    std::string openAll();
    void write(const std::string& text) const { std::memcpy(view.get(), text.c_str(), text.size() + 1); }
    void scribble(int milliseconds) const;
    HANDLE event(const std::string& which);
};

std::wstring eventName(const std::string& which) {
    return which == "update" ? L"Global\\TovixDataUpdate" : L"Global\\TovixDataCreate";
}

std::string status(bool succeeded) {
    return succeeded ? "ok" : "error " + std::to_string(::GetLastError());
}

HANDLE ControlSide::event(const std::string& which) {
    auto& handle = events[which];
    if (!handle) {
        handle.reset(::CreateEventW(nullptr, FALSE, FALSE, eventName(which).c_str()));
    }
    return handle.get();
}

std::string ControlSide::map(HANDLE hMapping) {
    page.reset(hMapping);
    view.reset(static_cast<char*>(::MapViewOfFile(hMapping, FILE_MAP_ALL_ACCESS, 0, 0, pageBytes)));
    return status(view != nullptr);
}

std::string ControlSide::occupy(const std::string& what) {
    const std::wstring name = what == "page" ? pageName : eventName(what);
    page.reset(::CreateSemaphoreW(nullptr, 0, 1, name.c_str()));
    return status(page != nullptr);
}

std::string ControlSide::unviewable() {
    std::array<wchar_t, MAX_PATH> folder{};
    std::array<wchar_t, MAX_PATH> path{};
    ::GetTempPathW(MAX_PATH, folder.data());
    ::GetTempFileNameW(folder.data(), L"tvx", 0, path.data());
    FILE* const pFile = ::_wfopen(path.data(), L"wb");
    std::fwrite(path.data(), 1, pageBytes, pFile);
    std::fclose(pFile);
    const KernelHandle file(::CreateFileW(path.data(), GENERIC_READ | DELETE, FILE_SHARE_READ | FILE_SHARE_DELETE,
                                          nullptr, OPEN_EXISTING, FILE_FLAG_DELETE_ON_CLOSE, nullptr));
    page.reset(::CreateFileMappingW(file.get(), nullptr, PAGE_READONLY, 0, 0, pageName));
    return status(page != nullptr);
}

std::string ControlSide::openAll() {
    const KernelHandle mapping(::OpenFileMappingW(FILE_MAP_ALL_ACCESS, FALSE, pageName));
    std::string answer = "page " + status(mapping != nullptr);
    for (const char* const which : {"update", "create"}) {
        const KernelHandle opened(::OpenEventW(EVENT_ALL_ACCESS, FALSE, eventName(which).c_str()));
        answer += std::string(", ") + which + " " + status(opened != nullptr);
    }
    return answer;
}

/// Takes the right to create global objects from this process for good.
std::string dropPrivilege() {
    HANDLE hToken = nullptr;
    ::OpenProcessToken(::GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &hToken);
    const KernelHandle token(hToken);
    TOKEN_PRIVILEGES removed{};
    removed.PrivilegeCount = 1;
    removed.Privileges[0].Attributes = SE_PRIVILEGE_REMOVED;
    ::LookupPrivilegeValueW(nullptr, L"SeCreateGlobalPrivilege", &removed.Privileges[0].Luid);
    return status(::AdjustTokenPrivileges(hToken, FALSE, &removed, 0, nullptr, nullptr) != FALSE &&
                  ::GetLastError() == ERROR_SUCCESS);
}

void ControlSide::scribble(int milliseconds) const {
    std::minstd_rand random(1);
    const ULONGLONG end = ::GetTickCount64() + static_cast<ULONGLONG>(milliseconds);
    while (::GetTickCount64() < end) {
        for (std::size_t i = 0; i < pageBytes; ++i) {
            view.get()[i] = static_cast<char>(random());
        }
    }
}

std::string ControlSide::answer(const std::string& command, std::istringstream& arguments) {
    std::string which;
    int milliseconds = 0;
    if (command == "create-page") {
        return map(::CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, pageBytes, pageName));
    }
    if (command == "open-page") {
        return map(::OpenFileMappingW(FILE_MAP_ALL_ACCESS, FALSE, pageName));
    }
    if (command == "write") {
        std::getline(arguments >> std::ws, which);
        std::replace(which.begin(), which.end(), '|', '\n');
        write(which);
        return "ok";
    }
    if (command == "scribble") {
        arguments >> milliseconds;
        scribble(milliseconds);
        return "ok";
    }
    if (command == "drop") {
        *this = ControlSide{};
        return "ok";
    }
    if (command == "drop-privilege") {
        return dropPrivilege();
    }
    arguments >> which >> milliseconds;
    if (command == "await") {
        const DWORD result = ::WaitForSingleObject(event(which), static_cast<DWORD>(milliseconds));
        return result == WAIT_OBJECT_0 ? "signalled" : "timeout";
    }
    return command == "event"        ? status(event(which) != nullptr)
           : command == "signal"     ? status(::SetEvent(event(which)) != FALSE)
           : command == "occupy"     ? occupy(which)
           : command == "unviewable" ? unviewable()
           : command == "open-all"   ? openAll()
                                     : "unknown command";
}

} // namespace

int main() {
    ControlSide side;
    std::string line;
    while (std::getline(std::cin, line)) {
        std::istringstream words(line);
        std::string command;
        words >> command;
        std::cout << side.answer(command, words) << std::endl;
    }
    return 0;
}
