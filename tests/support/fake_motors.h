#pragma once

#include <array>
#include <functional>
#include <string>
#include <vector>

/// Takes the place of the servo bus in a program that links fake_motors.cpp.
namespace support
{

/// What the two fake servos, IDs 1 and 2, do, and what was done to them: "1 goal 2048", "2 wait
/// 3000 ms", "1 position", "1 id", "1 cw", "1 ccw", "open DEVICE BAUDNUM", "close".
struct FakeMotors
{
    std::string openError;  ///< not empty: the bus cannot be opened
    std::array<int, 2> cwLimit = {0, 0};
    std::array<int, 2> ccwLimit = {4095, 4095};
    std::function<int(int id, int goal)> position = [](int, int goal) { return goal; };
    std::function<bool(int id)> stops = [](int) { return true; };
    std::function<int(int id)> realId = [](int id) { return id; };
    std::function<bool()> isLineLost = [] { return false; };
    std::vector<std::string> calls;
};

extern FakeMotors fakeMotors;

}  // namespace support
