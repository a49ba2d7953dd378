#include "devices/dynamixel/dxl_codec.h"

#include <gtest/gtest.h>

#include <climits>
#include <map>
#include <tuple>

namespace quill::dynamixel
{
namespace
{

template <typename Packet>
void expectBothWays(const Packet& packet, const Bytes& wire)
{
    EXPECT_EQ(encode(packet), wire);
    Packet parsed;
    ASSERT_EQ(parse(wire, &parsed), ParseResult::Complete);
    EXPECT_EQ(encode(parsed), wire);
    EXPECT_EQ(parsed.parameters, packet.parameters);
}

TEST(DxlCodec, BuildsAndParsesTheBytesOfTheManual)
{
    expectBothWays<InstructionPacket>({1, kPing, {}}, {0xFF, 0xFF, 1, 2, 1, 0xFB});
    expectBothWays<InstructionPacket>({1, kRead, {43, 1}}, {0xFF, 0xFF, 1, 4, 2, 0x2B, 1, 0xCC});
    expectBothWays<InstructionPacket>({kBroadcastId, kWrite, {3, 1}},
                                      {0xFF, 0xFF, 0xFE, 4, 3, 3, 1, 0xF6});
    expectBothWays<InstructionPacket>(
        {kBroadcastId, kSyncWrite, {30, 2, 0, 0x10, 0, 1, 0x20, 2}},
        {0xFF, 0xFF, 0xFE, 0x0A, 0x83, 0x1E, 2, 0, 0x10, 0, 1, 0x20, 2, 0x21});
    expectBothWays<StatusPacket>({1, 0, {}}, {0xFF, 0xFF, 1, 2, 0, 0xFC});
    expectBothWays<StatusPacket>({1, 0, {0x20}}, {0xFF, 0xFF, 1, 3, 0, 0x20, 0xDB});
    expectBothWays<StatusPacket>({1, kOverloadError | kOverheatingError, {}},
                                 {0xFF, 0xFF, 1, 2, 0x24, 0xD8});
    EXPECT_EQ(encode(StatusPacket{1, 0, Bytes(253)}).size(), 259u);
    EXPECT_TRUE(encode(StatusPacket{1, 0, Bytes(254)}).empty()) << "does not fit the length byte";
}

TEST(DxlCodec, SaysWhetherToReadOnOrToDropAByte)
{
    const std::tuple<const char*, Bytes, ParseResult> cases[] = {
        {"nothing yet", {}, ParseResult::Incomplete},
        {"first byte", {0xFF}, ParseResult::Incomplete},
        {"length to come", {0xFF, 0xFF, 1}, ParseResult::Incomplete},
        {"cable cut in mid-packet", {0xFF, 0xFF, 1, 4, 0, 0x20}, ParseResult::Incomplete},
        {"more behind it", {0xFF, 0xFF, 1, 2, 0, 0xFC, 0xFF}, ParseResult::Complete},
        {"one bit flipped", {0xFF, 0xFF, 1, 2, 0, 0xFD}, ParseResult::Broken},
        {"noise FF before a header", {0xFF, 0xFF, 0xFF, 1, 2, 0, 0xFC}, ParseResult::Broken},
        {"noise before a header", {0x80}, ParseResult::Broken},
        {"half a header", {0xFF, 0x7F}, ParseResult::Broken},
        {"length too small", {0xFF, 0xFF, 1, 1, 0xFD}, ParseResult::Broken},
        {"status from all servos", {0xFF, 0xFF, 0xFE, 2, 0, 0xFF}, ParseResult::Broken},
    };
    for (const auto& [what, wire, expected] : cases) {
        StatusPacket packet;
        EXPECT_EQ(parse(wire, &packet), expected) << what;
    }
}

TEST(DxlCodec, RefusesWhatDoesNotFitItsField)
{
    // ID, address, value; which of: read byte, read word, write byte, write word
    const std::tuple<int, int, int, std::string> cases[] = {
        {0, 0, 0, "rRwW"},    {253, 254, 255, "rRwW"}, {1, 255, 0, "rw"},   {1, 256, 0, ""},
        {1, -1, 0, ""},       {-1, 3, 0, ""},          {254, 3, 0, "wW"},   {255, 3, 0, ""},
        {257, 3, 0, ""},      {1, 30, 256, "rRW"},     {1, 30, -1, "rR"},   {1, 30, 65535, "rRW"},
        {1, 30, 65536, "rR"}, {1, 30, INT_MAX, "rR"},  {INT_MAX, 3, 0, ""}, {1, INT_MIN, 0, ""},
    };
    for (const auto& [id, address, value, expected] : cases) {
        std::string possible;
        if (readRequest(id, address, kByte)) possible += "r";
        if (readRequest(id, address, kWord)) possible += "R";
        if (writeRequest(id, address, value, kByte)) possible += "w";
        if (writeRequest(id, address, value, kWord)) possible += "W";
        EXPECT_EQ(possible, expected) << id << ", " << address << ", " << value;
    }
    EXPECT_EQ(encode(writeRequest(1, 30, 0x0123, kWord).value()),
              Bytes({0xFF, 0xFF, 1, 5, 3, 30, 0x23, 0x01, 0xB4}));
    EXPECT_EQ(decodeValue({0x23, 0xF1}), 0xF123);
}

TEST(DxlStatusReader, FindsPacketsAmongNoiseHoweverTheyAreCut)
{
    const Bytes wire = {0xFF, 0x00, 0xFF, 0xFF, 1,    0xF0, 0xFF, 0xFF, 0xFF, 1,    3,
                        0,    0x20, 0xDB, 0xFF, 0xFF, 1,    5,    0xFF, 0xFF, 2,    2,
                        0,    0xFB, 0xFF, 0xFF, 3,    2,    0x24, 0xD6, 0xFF, 0xFF, 4};
    for (const size_t piece : {size_t{1}, size_t{7}, wire.size()}) {
        StatusReader reader(3);
        std::string found;
        for (size_t at = 0; at < wire.size(); at += piece) {
            reader.push(&wire[at], std::min(piece, wire.size() - at));
            while (const auto packet = reader.next()) found += std::to_string(packet->id) + " ";
        }
        EXPECT_EQ(found, "1 2 3 ") << "pieces of " << piece;
        EXPECT_TRUE(reader.isInsidePacket());
        EXPECT_EQ(reader.leftoverBytes(), 7u + 4u + 3u);
    }
}

TEST(DxlCodec, KnowsBitRatesAndErrorBits)
{
    const std::map<int, int> rates = {
        {0, 2000000}, {1, 1000000},   {16, 117647},   {34, 57143},    {207, 9615},
        {249, 8000},  {250, 2250000}, {251, 2500000}, {252, 3000000}, {253, 7874},
        {3999999, 1}, {4000000, 0},   {INT_MAX, 0},   {-1, 0},        {INT_MIN, 0},
    };
    for (const auto& [number, rate] : rates) EXPECT_EQ(bitRateOf(number).value_or(0), rate);
    EXPECT_EQ(errorText(0), "");
    EXPECT_EQ(errorText(0x24), "overheating, overload");
    EXPECT_EQ(errorText(0x80), "unknown error bit 7");
}

}  // namespace
}  // namespace quill::dynamixel
