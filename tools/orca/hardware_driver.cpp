#include "tools/orca/hardware_driver.h"

HardwareDriver::HardwareDriver(const std::string& device) : devicePath(device) {}

HardwareDriver::~HardwareDriver() = default;
