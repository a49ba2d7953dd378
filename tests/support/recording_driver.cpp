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

#define RECORDED(operation, parameters, ...)  \
    void HardwareDriver::operation parameters \
    {                                         \
        note(__VA_ARGS__);                    \
    }

RECORDED(setPanTiltZoom, (int pan, int tilt, int zoom), "setPanTiltZoom", pan, tilt, zoom)
RECORDED(getPanTiltZoom, (), "getPanTiltZoom")
RECORDED(resetPanTilt, (), "resetPanTilt")
RECORDED(setPanTilt, (int pan, int tilt), "setPanTilt", pan, tilt)
RECORDED(setDynamixelPanTilt, (int pan, int tilt), "setDynamixelPanTilt", pan, tilt)
RECORDED(setCBus, (int pin, int state), "setCBus", pin, state)
RECORDED(usbSysPath, (), "usbSysPath")
RECORDED(dxlDump, (int maxbaud, int maxid), "dxlDump", maxbaud, maxid)
RECORDED(dxlSetPos, (int id, int pos), "dxlSetPos", id, pos)
RECORDED(dxlSetByte, (int id, int addr, int value), "dxlSetByte", id, addr, value)
RECORDED(dxlSetWord, (int id, int addr, int value), "dxlSetWord", id, addr, value)
RECORDED(dxlGetByte, (int id, int addr), "dxlGetByte", id, addr)
RECORDED(dxlGetWord, (int id, int addr), "dxlGetWord", id, addr)
RECORDED(dynamixelPrecisionTest, (int n), "dynamixelPrecisionTest", n)
RECORDED(laserOn, (int n), "laserOn", n)
RECORDED(captureKinectImages, (), "captureKinectImages")
RECORDED(testSystem, (const std::string& ptz, const std::string& motors, const std::string& laser),
         "testSystem", ptz, motors, laser)
RECORDED(testMotors, (int x0, int x1, int y0, int y1, int duration_s), "testMotors", x0, x1, y0, y1,
         duration_s)
