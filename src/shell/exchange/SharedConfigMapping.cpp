#include "exchange/SharedConfigMapping.h"

#include <cstring>

namespace tovix {

IpcsResult SharedConfigMapping::Open() noexcept {
    if (isOpen()) {
        return IPCS_ALREADY_OPEN;
    }
    m_hMapping.reset(::OpenFileMappingW(FILE_MAP_ALL_ACCESS, FALSE, CONFIG_DATA_STRUCT));
    return m_hMapping ? mapView() : IPCS_OPEN_FAILED;
}

IpcsResult SharedConfigMapping::Create(SECURITY_ATTRIBUTES* sa) noexcept {
    if (isOpen()) {
        return IPCS_ALREADY_OPEN;
    }
    m_hMapping.reset(::CreateFileMappingW(INVALID_HANDLE_VALUE, sa, PAGE_READWRITE, 0, DWORD{settingsPageBytes},
                                          CONFIG_DATA_STRUCT));
    return m_hMapping ? mapView() : IPCS_CREATE_FAILED;
}

void SharedConfigMapping::copyTo(PageBytes& text) const noexcept {
    std::memcpy(text.data(), m_pView.get(), text.size());
}

void SharedConfigMapping::writeText(const PageBytes& text) noexcept {
    std::memcpy(m_pView.get(), text.data(), ::strnlen(text.data(), text.size() - 1) + 1);
}

IpcsResult SharedConfigMapping::mapView() noexcept {
    m_pView.reset(
        static_cast<char*>(::MapViewOfFile(m_hMapping.get(), FILE_MAP_ALL_ACCESS, 0, 0, settingsPageBytes)));
    return m_pView ? IPCS_OK : IPCS_MAP_FAILED;
}

} // namespace tovix
