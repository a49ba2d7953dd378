#include <cstdlib>

#include "devices/visca/visca_codec.h"

using namespace quill::visca;

namespace
{

void require(bool condition)
{
    if (!condition) std::abort();
}

void check(const Bytes& packet)
{
    require(packet.size() >= kMinPacketBytes && packet.size() <= kMaxPacketBytes);
    require(packet.back() == kTerminator);
    const auto reply = parseReply(packet);
    if (!reply) return;
    require(reply->socket >= 0 && reply->socket <= 15);
    require(reply->data.size() <= kMaxPacketBytes - kMinPacketBytes);
    if (reply->data.size() >= kZoomDataBytes) (void)decodeNibbles(reply->data, 0);
    if (reply->kind == ReplyKind::Error) require(!errorText(reply->error).empty());
}

}  // namespace

/// The bytes of a line, cut into packets and read as replies.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    PacketReader reader;
    for (size_t i = 0; i < size; ++i)
        if (const auto packet = reader.push(data[i])) check(*packet);

    // In step again, whatever came before.
    (void)reader.push(kTerminator);
    std::optional<Bytes> last;
    for (const uint8_t byte : acknowledge(1)) last = reader.push(byte);
    require(last == acknowledge(1));
    return 0;
}
