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

/// Whoever made the section chose how it is backed: one whose memory is only reserved, or an image of a program,
/// gives a view that faults where it is read or written.
bool SharedConfigMapping::isUsable() const noexcept {
    MEMORY_BASIC_INFORMATION memory{};
    return ::VirtualQuery(m_pView.get(), &memory, sizeof memory) != 0 && memory.State == MEM_COMMIT &&
           (memory.Protect == PAGE_READWRITE || memory.Protect == PAGE_EXECUTE_READWRITE) &&
           memory.RegionSize >= settingsPageBytes;
}

IpcsResult SharedConfigMapping::mapView() noexcept {
    m_pView.reset(
        static_cast<char*>(::MapViewOfFile(m_hMapping.get(), FILE_MAP_ALL_ACCESS, 0, 0, settingsPageBytes)));
    if (m_pView && !isUsable()) {
        m_pView.reset();
        ::SetLastError(ERROR_INVALID_ADDRESS);
    }
    return m_pView ? IPCS_OK : IPCS_MAP_FAILED;
}

} // namespace tovix
