#pragma once

#include <optional>
#include <string>
#include <vector>

#include "common/time.h"
#include "devices/dynamixel/servo_search.h"
#include "devices/serial/serial_devices.h"

namespace rigsetup
{

/// What a serial line was found to be.
struct Finding
{
    enum class Kind { Camera, Servos, NoAnswer, Failed };
    Kind kind = Kind::NoAnswer;
    std::string text;  ///< of Camera and Failed: in words
    std::vector<quill::dynamixel::FoundServo> servos;
};

/// A port and what was found there; nothing where it could not be asked.
struct ProbedPort
{
    quill::SerialDevice device;
    std::string whyNot;  ///< it was not asked; empty: it was
    std::optional<Finding> finding;
};

/// Asks one line what it is: a camera at 9600 or 38400 bit/s, servos at `baudNumber` and at the
/// common ones. Some two seconds where nothing answers.
Finding probePort(const std::string& path, int baudNumber);

/// As texts, for the way from one process to another.
std::string encodeFinding(const Finding& finding);
Finding decodeFinding(const std::string& text);

/// Asks all serial devices that may be opened and are free at the same time, each in a process of
/// its own, in which it ends as a run of its own would. An interrupt ends all.
/// @param limit  for all of it; a port that takes longer is a failure
std::vector<ProbedPort> probeAllPorts(int baudNumber, quill::Duration limit);

/// The ports, and why they would not be asked; nothing is opened.
std::vector<ProbedPort> listPorts();

}  // namespace rigsetup
