#include "servo_bus.h"

#include <cstdlib>

#include "log.h"
#include "settings.h"

PanTiltServos openServos(const std::string& devicePath, const char* function)
{
    try {
        const auto bus = quill::DynamixelInterface::open(devicePath, p_dxl_baudnum(), nullptr);
        return {bus, bus->getMotor(kPanServoId), bus->getMotor(kTiltServoId)};
    } catch (const quill::DynamixelError& error) {
        QUILL_LOGF_FROM(function, kFailure, kLogCategory, "Failed to open the servo bus: %s",
                        error.what());
        std::exit(1);
    }
}

bool openRegisters(DxlDevice* bus, const std::string& devicePath, int baudNumber,
                   const char* function)
{
    if (bus->dxl_initialize(devicePath, baudNumber) != 0) return true;
    QUILL_LOGF_FROM(function, kFailure, kLogCategory, "Failed to open USB2Dynamixel at %s",
                    devicePath.c_str());
    return false;
}
