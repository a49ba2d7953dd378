#pragma once

#include <functional>
#include <string>
#include <vector>

/// Takes the place of DxlDevice in a program that links fake_dxl_device.cpp.
namespace support
{

/// What the fake bus does, and what was done to it: "open DEVICE BAUDNUM", "close", "read ID
/// ADDRESS", "write ID ADDRESS VALUE" ("readword", "writeword" for words).
struct FakeBus
{
    bool opens = true;
    std::function<int(int id, int address)> read = [](int, int) { return -1; };
    std::function<int(int id, int address, int value)> write = [](int, int, int) { return 1; };
    std::function<bool()> isLineLost = [] { return false; };
    std::vector<std::string> calls;
    int unreportedSilences = 0;  ///< reads while silence was said to be expected
};

extern FakeBus fakeBus;

}  // namespace support
