#include <algorithm>
#include <cstdlib>

#include "tools/kinect_standin/frame_stream.h"

using namespace quill::kinect;

/// The headers of a stream from the socket: what is taken is within its bounds, so that a reader
/// may make room for the pixels, and is the same when it is sent on.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    for (; size >= kHeaderBytes; data += kHeaderBytes, size -= kHeaderBytes) {
        HeaderBytes bytes;
        std::copy_n(data, kHeaderBytes, bytes.begin());
        const auto header = parseHeader(bytes);
        if (!header) continue;
        constexpr uint32_t kMost = kMaxWidth * kMaxHeight * kBytesPerPixel;
        const bool isFrame =
            header->kind == MessageKind::Colour || header->kind == MessageKind::Infrared;
        if (header->payloadBytes > kMost || (header->payloadBytes > 0) != isFrame) std::abort();
        if (header->payloadBytes != header->width * header->height * header->bytesPerPixel)
            std::abort();
        if (encodeHeader(*header) != bytes) std::abort();
    }
    return 0;
}
