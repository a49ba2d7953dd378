#include "devices/dynamixel/dxl_codec.h"

#include <gtest/gtest.h>

#include <climits>
#include <map>
#include <tuple>

namespace quill::dynamixel
{
namespace
{

TEST(DxlCodec, BuildsTheBytesOfTheManual)
{
    EXPECT_EQ(encode(writeRequest(1, 30, 0x0123, kWord).value()),
              Bytes({0xFF, 0xFF, 1, 5, 3, 30, 0x23, 0x01, 0xB4}));
    EXPECT_EQ(encode(StatusPacket{1, kOverloadError | kOverheatingError, {}}),
              Bytes({0xFF, 0xFF, 1, 2, 0x24, 0xD8}));
    EXPECT_EQ(encode(StatusPacket{1, 0, Bytes(253)}).size(), 259u);
    EXPECT_TRUE(encode(StatusPacket{1, 0, Bytes(254)}).empty()) << "does not fit the length byte";
}

TEST(DxlCodec, SaysWhetherToReadOnOrToDropAByte)
{
    const std::tuple<const char*, Bytes, ParseResult> cases[] = {
        {"cable cut in mid-packet", {0xFF, 0xFF, 1, 4, 0, 0x20}, ParseResult::Incomplete},
        {"more behind it", {0xFF, 0xFF, 1, 2, 0, 0xFC, 0xFF}, ParseResult::Complete},
        {"one bit flipped", {0xFF, 0xFF, 1, 2, 0, 0xFD}, ParseResult::Broken},
        {"noise FF before a header", {0xFF, 0xFF, 0xFF, 1, 2, 0, 0xFC}, ParseResult::Broken},
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
        {0, 0, 0, "rRwW"},   {253, 254, 255, "rRwW"}, {1, 255, 0, "rw"},     {1, 256, 0, ""},
        {1, -1, 0, ""},      {-1, 3, 0, ""},          {254, 3, 0, "wW"},     {257, 3, 0, ""},
        {1, 30, 256, "rRW"}, {1, 30, -1, "rR"},       {1, 30, 65535, "rRW"}, {1, 30, 65536, "rR"},
    };
    for (const auto& [id, address, value, expected] : cases) {
        std::string possible;
        if (readRequest(id, address, kByte)) possible += "r";
        if (readRequest(id, address, kWord)) possible += "R";
        if (writeRequest(id, address, value, kByte)) possible += "w";
        if (writeRequest(id, address, value, kWord)) possible += "W";
        EXPECT_EQ(possible, expected) << id << ", " << address << ", " << value;
    }
}

TEST(DxlCodec, KnowsBitRatesAndErrorBits)
{
    const std::map<int, int> rates = {
        {0, 2000000}, {34, 57143},  {207, 9615},  {249, 8000},  {250, 7968}, {251, 7937},
        {252, 7905},  {3999999, 1}, {4000000, 0}, {INT_MAX, 0}, {-1, 0},
    };
    for (const auto& [number, rate] : rates) EXPECT_EQ(bitRateOf(number).value_or(0), rate);
    EXPECT_EQ(errorText(0x24), "overheating, overload");
}

}  // namespace
}  // namespace quill::dynamixel
