#include "tools/rigsim/ft232r_model.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gtest/gtest.h>

#include <cerrno>

namespace
{

using namespace rigsim;

const UsbSetup kPins = {0xC0, 0x0C, 0, 1, 1};
const UsbSetup kModemStatus = {0xC0, 0x05, 0, 1, 2};
const UsbSetup kReset = {0x40, 0x00, 0, 1, 0};

UsbSetup mode(uint16_t value)
{
    return {0x40, 0x0B, value, 1, 0};
}

UsbSetup word(uint16_t address)
{
    return {0xC0, 0x90, 0, address, 2};
}

std::string text(const UsbReply& reply)
{
    if (reply.error == EPIPE) return "stall";
    if (reply.error == ENODEV) return "gone";
    return reply.data.empty() ? "done" : fmt::format("{:02X}", fmt::join(reply.data, " "));
}

struct Case
{
    const char* name;
    std::vector<UsbSetup> requests;
    const char* replies;
    Faults faults = {};
};

void check(const std::vector<Case>& cases)
{
    for (const Case& c : cases) {
        Ft232rModel chip(adapterIdentity(c.faults, 5), c.faults);
        std::vector<std::string> replies;
        for (const UsbSetup& request : c.requests) replies.push_back(text(chip.control(request)));
        EXPECT_EQ(fmt::format("{}", fmt::join(replies, ", ")), c.replies) << c.name;
    }
}

TEST(Ft232rModel, DrivesItsPinsInCbusModeOnly)
{
    check({
        {"two up, two down", {mode(0x20F3), kPins}, "done, 03"},
        {"inputs are pulled up", {mode(0x2050), kPins}, "done, 0A"},
        {"the last request holds", {mode(0x20FF), mode(0x20F8), kPins}, "done, done, 08"},
        {"a reset of the port leaves it", {mode(0x20F0), kReset, kPins}, "done, done, 00"},
        {"serial mode", {mode(0x20F0), mode(0x00F0), kPins}, "done, done, FF"},
        {"no mode of this chip", {mode(0x20F0), mode(0x0200), kPins}, "done, stall, 00"},
        {"pin 1 is RXLED", {word(10), mode(0x20F0), kPins}, "2A AA, done, 02", {"cbus.not-io"}},
        {"pin 3 is PWREN", {word(10), mode(0x20F0), kPins}, "AA 1A, done, 08", {"cbus.not-io=3"}},
        {"refused", {mode(0x20F0), word(10)}, "stall, AA AA", {"cbus.refuse"}},
        {"pulled", {word(10), mode(0x20F0), kPins}, "AA AA, done, gone", {"cbus.unplug-after=2"}},
        {"FT230X", {word(10), word(3)}, "00 00, 00 10", {"cbus.other-chip"}},
    });
}

TEST(Ft232rModel, AnswersWhatItsMakerDescribesAndNothingElse)
{
    check({
        {"EEPROM: vendor, product, release", {word(1), word(2), word(3)}, "03 04, 01 60, 00 06"},
        {"EEPROM: all pins I/O, addresses wrap", {word(10), word(74)}, "AA AA, AA AA"},
        {"latency timer", {{0x40, 9, 2, 1, 0}, {0xC0, 10, 0, 1, 1}}, "done, 02"},
        {"bit rate, flow, data",
         {{0x40, 3, 26, 0, 0}, {0x40, 2}, {0x40, 4, 8}},
         "done, done, done"},
        {"modem status", {kModemStatus}, "01 60"},
        {"head of the device descriptor", {{0x80, 6, 0x100, 0, 8}}, "12 01 00 02 00 00 00 08"},
        {"device: release and strings",
         {{0x80, 6, 0x100, 0, 18}},
         "12 01 00 02 00 00 00 08 03 04 01 60 00 06 01 02 03 01"},
        {"no string 4", {{0x80, 6, 0x304, 0, 255}}, "stall"},
        {"EEPROM write, the pins as before",
         {{0x40, 0x91, 0x1023, 10, 0}, word(10), mode(0x20F0), kPins},
         "done, 23 10, done, 00"},
        {"order with data", {{0x40, 0x0B, 0x20F0, 1, 1}, kPins}, "stall, FF"},
        {"unknown", {{0xC0, 0x55, 0, 0, 1}, {0x41, 0x0B, 0x20F0, 1, 0}}, "stall, stall"},
    });
}

}  // namespace
