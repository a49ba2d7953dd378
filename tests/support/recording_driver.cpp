#include "support/recording_driver.h"

#include <sstream>
#include <utility>

#include "tools/orca/hardware_driver.h"

namespace
{

std::vector<std::string> s_calls;

template <typename... Arguments>
void note(const std::string& name, const Arguments&... arguments)
{
    std::ostringstream call;
    call << name;
    ((call << " [" << arguments << "]"), ...);
    s_calls.push_back(call.str());
}

}  // namespace

std::vector<std::string> support::takeDriverCalls()
{
    return std::exchange(s_calls, {});
}

void HardwareDriver::setPanTiltZoom(int pan, int tilt, int zoom)
{
    note("setPanTiltZoom", pan, tilt, zoom);
}
void HardwareDriver::getPanTiltZoom()
{
    note("getPanTiltZoom");
}
void HardwareDriver::resetPanTilt()
{
    note("resetPanTilt");
}
void HardwareDriver::setPanTilt(int pan, int tilt)
{
    note("setPanTilt", pan, tilt);
}
void HardwareDriver::setDynamixelPanTilt(int pan, int tilt)
{
    note("setDynamixelPanTilt", pan, tilt);
}
void HardwareDriver::setCBus(int pin, int state)
{
    note("setCBus", pin, state);
}
void HardwareDriver::usbSysPath()
{
    note("usbSysPath");
}
void HardwareDriver::dxlDump(int maxbaud, int maxid)
{
    note("dxlDump", maxbaud, maxid);
}
void HardwareDriver::dxlSetPos(int id, int pos)
{
    note("dxlSetPos", id, pos);
}
void HardwareDriver::dxlSetByte(int id, int addr, int value)
{
    note("dxlSetByte", id, addr, value);
}
void HardwareDriver::dxlSetWord(int id, int addr, int value)
{
    note("dxlSetWord", id, addr, value);
}
void HardwareDriver::dxlGetByte(int id, int addr)
{
    note("dxlGetByte", id, addr);
}
void HardwareDriver::dxlGetWord(int id, int addr)
{
    note("dxlGetWord", id, addr);
}
void HardwareDriver::dynamixelPrecisionTest(int n)
{
    note("dynamixelPrecisionTest", n);
}
void HardwareDriver::laserOn(int n)
{
    note("laserOn", n);
}
void HardwareDriver::captureKinectImages()
{
    note("captureKinectImages");
}
void HardwareDriver::testSystem(const std::string& ptz_tty, const std::string& motors_tty,
                                const std::string& laser_tty)
{
    note("testSystem", ptz_tty, motors_tty, laser_tty);
}
void HardwareDriver::testMotors(int x0, int x1, int y0, int y1, int duration_s)
{
    note("testMotors", x0, x1, y0, y1, duration_s);
}
