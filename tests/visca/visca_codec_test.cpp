#include "devices/visca/visca_codec.h"

#include <gtest/gtest.h>

namespace quill::visca
{
namespace
{

TEST(ViscaCommands, PutSignedPositionsIntoNibbles)
{
    EXPECT_EQ(panTiltAbsolute(20, 20, 100, -20),
              (Bytes{0x81, 1, 6, 2, 0x14, 0x14, 0, 0, 6, 4, 0xF, 0xF, 0xE, 0xC, 0xFF}));
    EXPECT_EQ(panTiltAbsolute(1, 0x17, -32768, 32767),
              (Bytes{0x81, 1, 6, 2, 1, 0x17, 8, 0, 0, 0, 7, 0xF, 0xF, 0xF, 0xFF}));
    EXPECT_EQ(zoomDirect(0x1234), (Bytes{0x81, 1, 4, 0x47, 1, 2, 3, 4, 0xFF}));
    EXPECT_EQ(zoomDirect(65535), (Bytes{0x81, 1, 4, 0x47, 0xF, 0xF, 0xF, 0xF, 0xFF}));
}

TEST(ViscaSetup, ReadsTheVersionAndSwitchesThePower)
{
    const Version version = decodeVersion({0x00, 0x20, 0x05, 0x1F, 0x03, 0x82, 2});
    EXPECT_EQ(version.vendor, 0x0020);
    EXPECT_EQ(version.model, 0x051F);
    EXPECT_EQ(version.romRevision, 0x0382);
    EXPECT_EQ(power(true), (Bytes{0x81, 1, 4, 0, 2, 0xFF}));
    EXPECT_EQ(power(false), (Bytes{0x81, 1, 4, 0, 3, 0xFF}));
}

TEST(ViscaCommands, ValuesThatDoNotFitTheirFieldGiveNoPacket)
{
    const struct
    {
        int panSpeed, tiltSpeed, pan, tilt;
    } cases[] = {
        {0, 1, 0, 0},     {0x19, 1, 0, 0},    {-1, 1, 0, 0},        {1, 0, 0, 0},
        {1, 0x18, 0, 0},  {256 + 1, 1, 0, 0}, {1, 1, 32768, 0},     {1, 1, -32769, 0},
        {1, 1, 0, 32768}, {1, 1, 0, -32769},  {1, 1, 65536 + 5, 0}, {1, 1, 0, 2147483647},
    };
    for (const auto& c : cases)
        EXPECT_EQ(panTiltAbsolute(c.panSpeed, c.tiltSpeed, c.pan, c.tilt), std::nullopt)
            << c.panSpeed << " " << c.tiltSpeed << " " << c.pan << " " << c.tilt;
    for (const int zoom : {-1, 65536, 2147483647, -2147483647})
        EXPECT_EQ(zoomDirect(zoom), std::nullopt) << zoom;
}

std::vector<Bytes> packetsIn(const Bytes& line)
{
    PacketReader reader;
    std::vector<Bytes> packets;
    for (const uint8_t byte : line)
        if (auto packet = reader.push(byte)) packets.push_back(*packet);
    return packets;
}

TEST(ViscaPacketReader, IsInStepAgainAfterATerminator)
{
    const Bytes acknowledged = {0x90, 0x41, 0xFF};
    EXPECT_EQ(packetsIn({0x90, 0x41, 0xFF, 0x90, 0x51, 0xFF}),
              (std::vector<Bytes>{acknowledged, {0x90, 0x51, 0xFF}}));
    EXPECT_EQ(packetsIn({0xFF, 0xFF, 0x90, 0xFF, 0x90, 0x41, 0xFF}),
              std::vector<Bytes>{acknowledged})
        << "too short to be packets";
    Bytes noisy(1000, 0x55);
    noisy.insert(noisy.end(), acknowledged.begin(), acknowledged.end());
    Bytes last(13, 0x55);
    last.insert(last.end(), acknowledged.begin(), acknowledged.end());
    EXPECT_EQ(packetsIn(noisy), std::vector<Bytes>{last}) << "the last 16 bytes";
}

std::string inWords(const Bytes& packet)
{
    const auto reply = parseReply(packet);
    if (!reply) return "none";
    const std::string socket = std::to_string(reply->socket);
    switch (reply->kind) {
        case ReplyKind::Acknowledge: return "acknowledge " + socket;
        case ReplyKind::Completion:
            return "completion " + socket + ", " + std::to_string(reply->data.size()) + " bytes";
        case ReplyKind::Error: return "error " + socket + ", " + std::to_string(reply->error);
        case ReplyKind::NetworkChange: return "network change";
        case ReplyKind::AddressSet: return "address set " + std::to_string(reply->nextAddress);
        case ReplyKind::InterfaceClear: return "interface clear";
    }
    return "";
}

TEST(ViscaReply, IsFoundWithAnyAddressAndBehindNoise)
{
    const struct
    {
        const char* what;
        Bytes packet;
        const char* reply;
    } cases[] = {
        {"acknowledge", {0x90, 0x42, 0xFF}, "acknowledge 2"},
        {"of another address", {0xA0, 0x41, 0xFF}, "acknowledge 1"},
        {"completion", {0x90, 0x51, 0xFF}, "completion 1, 0 bytes"},
        {"answer", {0x90, 0x50, 0, 1, 2, 3, 0xFF}, "completion 0, 4 bytes"},
        {"syntax error", {0x90, 0x60, 0x02, 0xFF}, "error 0, 2"},
        {"not executable", {0x90, 0x61, 0x41, 0xFF}, "error 1, 65"},
        {"network change", {0x90, 0x38, 0xFF}, "network change"},
        {"address set", {0x88, 0x30, 0x02, 0xFF}, "address set 2"},
        {"interface clear", {0x88, 0x01, 0x00, 0x01, 0xFF}, "interface clear"},
        {"noise in front", {0x17, 0x90, 0x41, 0xFF}, "acknowledge 1"},
        {"noise like a header", {0x90, 0x90, 0x41, 0xFF}, "acknowledge 1"},
        {"noise like a broadcast", {0x88, 0x90, 0x50, 2, 0xFF}, "completion 0, 1 bytes"},
        {"echo of a move", {0x81, 1, 6, 2, 0x14, 0x14, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF}, "none"},
        {"echo of an inquiry", {0x81, 0x09, 0x06, 0x12, 0xFF}, "none"},
        {"acknowledge with a tail", {0x90, 0x41, 0x00, 0xFF}, "none"},
        {"error without its code", {0x90, 0x61, 0xFF}, "none"},
        {"noise alone", {0x12, 0x34, 0x56, 0xFF}, "none"},
        {"terminator alone", {0xFF}, "none"},
        {"nothing", {}, "none"},
    };
    for (const auto& c : cases) EXPECT_EQ(inWords(c.packet), c.reply) << c.what;
}

}  // namespace
}  // namespace quill::visca
