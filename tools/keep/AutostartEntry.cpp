#include "keep/AutostartEntry.h"

#include "keep/ProfileName.h"
#include "text/Utf.h"

namespace tovix::keep {
namespace {

bool isSameCommand(std::wstring_view a, std::wstring_view b) {
    return sameButForCase(encodeUtf8(a), encodeUtf8(b));
}

/// A quoted full path of a tovixctl.exe, and the command alone after it.
bool isOurs(std::wstring_view entry) {
    constexpr std::wstring_view end = L"\\tovixctl.exe\" keep";
    return entry.size() > end.size() && entry.front() == L'"' && entry.find(L'"', 1) == entry.rfind(L'"') &&
           isSameCommand(entry.substr(entry.size() - end.size()), end);
}

} // namespace

std::wstring autostartCommand(std::wstring_view programPath) {
    return L"\"" + std::wstring(programPath) + L"\" keep";
}

AutostartState autostartState(const std::optional<std::wstring>& entry, std::wstring_view programPath) {
    if (!entry) {
        return AutostartState::off;
    }
    return isSameCommand(*entry, autostartCommand(programPath)) ? AutostartState::on
           : isOurs(*entry)                                     ? AutostartState::otherCopy
                                                                : AutostartState::foreign;
}

const char* autostartStateName(AutostartState state) {
    switch (state) {
    case AutostartState::off:
        return "off";
    case AutostartState::on:
        return "on";
    case AutostartState::otherCopy:
        return "otherCopy";
    case AutostartState::foreign:
        return "foreign";
    }
    return "";
}

} // namespace tovix::keep
