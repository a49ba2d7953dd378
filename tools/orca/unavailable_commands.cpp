#include "log.h"
#include "tools/orca/hardware_driver.h"

// The commands whose devices this build has no library for.

namespace
{

void reportUnavailable(const char* command)
{
    QUILL_LOGF(kFailure, kLogCategory, "The command %s is not available in this build.", command);
}

}  // namespace

void HardwareDriver::setDynamixelPanTilt(int, int)
{
    reportUnavailable("dynamixel");
}
void HardwareDriver::setCBus(int, int)
{
    reportUnavailable("cbus");
}
void HardwareDriver::usbSysPath()
{
    reportUnavailable("usbsyspath");
}
void HardwareDriver::dxlDump(int, int)
{
    reportUnavailable("dxldump");
}
void HardwareDriver::dxlSetPos(int, int)
{
    reportUnavailable("dxlsetpos");
}
void HardwareDriver::dxlSetByte(int, int, int)
{
    reportUnavailable("dxlsetbyte");
}
void HardwareDriver::dxlSetWord(int, int, int)
{
    reportUnavailable("dxlsetword");
}
void HardwareDriver::dxlGetByte(int, int)
{
    reportUnavailable("dxlgetbyte");
}
void HardwareDriver::dxlGetWord(int, int)
{
    reportUnavailable("dxlgetword");
}
void HardwareDriver::dynamixelPrecisionTest(int)
{
    reportUnavailable("dxlprecisiontest");
}
void HardwareDriver::laserOn(int)
{
    reportUnavailable("laser");
}
void HardwareDriver::captureKinectImages()
{
    reportUnavailable("kinect");
}
void HardwareDriver::testSystem(const std::string&, const std::string&, const std::string&)
{
    reportUnavailable("test");
}
void HardwareDriver::testMotors(int, int, int, int, int)
{
    reportUnavailable("motortest");
}
