#include <cstdlib>

#include "devices/dynamixel/dxl_codec.h"

using namespace quill::dynamixel;

namespace
{

void require(bool condition)
{
    if (!condition) std::abort();
}

/// What parses is, encoded again, the same bytes.
template <typename Packet>
void checkParse(const Bytes& in)
{
    Packet packet;
    if (parse(in, &packet) != ParseResult::Complete) return;
    const Bytes wire = encode(packet);
    require(wire.size() == packetBytes(packet.parameters.size()) && wire.size() <= in.size());
    require(Bytes(in.begin(), in.begin() + static_cast<ptrdiff_t>(wire.size())) == wire);
}

/// No byte is lost or counted twice, and a packet is found however the line cuts it.
void checkReader(const Bytes& in)
{
    StatusReader whole(3);
    StatusReader bytewise(3);
    whole.push(in.data(), in.size());
    size_t packets = 0;
    size_t bytes = 0;
    while (const auto packet = whole.next()) {
        ++packets;
        bytes += packetBytes(packet->parameters.size());
    }
    require(bytes + whole.leftoverBytes() == in.size());
    for (const uint8_t byte : in) {
        bytewise.push(&byte, 1);
        if (bytewise.next()) --packets;
    }
    while (bytewise.next()) --packets;
    require(packets == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const Bytes in(data, data + size);
    checkParse<InstructionPacket>(in);
    checkParse<StatusPacket>(in);
    checkReader(in);
    if (size > 0) (void)errorText(data[0]);
    return 0;
}
