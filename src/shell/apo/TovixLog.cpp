#include "apo/TovixLog.h"

namespace tovix {

void appendTo(LogLine& line, const FormatFields& fields) noexcept {
    const UNCOMPRESSEDAUDIOFORMAT& format = fields.format;
    line.number(std::uint32_t{format.dwSamplesPerFrame})
        .text(", BytesPerSample=")
        .number(std::uint32_t{format.dwBytesPerSampleContainer})
        .text(", BitsPerSample=")
        .number(std::uint32_t{format.dwValidBitsPerSample})
        .text(", FramesPerSecond=")
        .real(format.fFramesPerSecond)
        .text(", ChannelMask=")
        .number(std::uint32_t{format.dwChannelMask});
    if (fields.pFrameCount != nullptr) {
        line.text(", InputFrameCount=").number(std::uint32_t{*fields.pFrameCount});
    }
    line.text(", guidFormatType=").number(std::uint32_t{format.guidFormatType.Data1});
}

} // namespace tovix
