#include "host/SystemError.h"

#include "system/SystemText.h"
#include "text/Utf.h"

namespace tovix::control {

std::string describeSystemError(DWORD error) {
    std::wstring text = systemMessage(error);
    text.erase(text.find_last_not_of(L'.') + 1);
    const std::string code = "error " + std::to_string(error);
    return text.empty() ? code : encodeUtf8(text) + " (" + code + ")";
}

} // namespace tovix::control
