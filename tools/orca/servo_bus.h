#pragma once

#include <memory>
#include <string>

#include "devices/dynamixel/dxl_device.h"
#include "devices/dynamixel/dynamixel_interface.h"

constexpr int kPanServoId = 1;
constexpr int kTiltServoId = 2;

/// The servo bus and the two axes on it.
struct PanTiltServos
{
    std::shared_ptr<quill::DynamixelInterface> bus;
    std::shared_ptr<quill::DynamixelMotor> pan;
    std::shared_ptr<quill::DynamixelMotor> tilt;
};

/// Opens the servo bus at the baud number of the setting dxlbaudnum. When it cannot be opened, a
/// level-2 line says why and the process ends with status 1.
/// @param function  the member function that the line is logged for
PanTiltServos openServos(const std::string& devicePath, const char* function);

/// Opens the bus for register access.
/// @param function  the member function that a failure is logged for
/// @return false, logged at level 2, when it cannot be opened
bool openRegisters(DxlDevice* bus, const std::string& devicePath, int baudNumber,
                   const char* function);
