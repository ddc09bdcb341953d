#include "apo/TovixLog.h"

namespace tovix {

LogLine& appendFormat(LogLine& line, const UNCOMPRESSEDAUDIOFORMAT& format, const UINT32* pFrameCount) noexcept {
    line.number(std::uint32_t{format.dwSamplesPerFrame})
        .text(", BytesPerSample=")
        .number(std::uint32_t{format.dwBytesPerSampleContainer})
        .text(", BitsPerSample=")
        .number(std::uint32_t{format.dwValidBitsPerSample})
        .text(", FramesPerSecond=")
        .real(format.fFramesPerSecond)
        .text(", ChannelMask=")
        .number(std::uint32_t{format.dwChannelMask});
    if (pFrameCount != nullptr) {
        line.text(", InputFrameCount=").number(std::uint32_t{*pFrameCount});
    }
    return line.text(", guidFormatType=").number(std::uint32_t{format.guidFormatType.Data1});
}

void logFormat(const LogLocation& location, const void* pObject, std::string_view label,
               const UNCOMPRESSEDAUDIOFORMAT& format, std::string_view end) noexcept {
    if (logEnabled(LogLevel::Info)) {
        LogLine line(LogLevel::Info, location, pObject);
        appendFormat(line.text(label), format).text(end).write();
    }
}

} // namespace tovix
