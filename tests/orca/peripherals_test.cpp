#include <gmock/gmock.h>

#include "devices/gpio/ftdi232_gpio_controller.h"
#include "devices/laser/tty_laser.h"
#include "devices/usb/usb_device.h"
#include "support/log_capture.h"
#include "tools/orca/hardware_driver.h"

// The commands of laser, CBUS pins and USB path on fake devices, put in place by the linker.

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> s_calls;
bool s_chipIsThere = true;
bool s_usbIsThere = true;

template <typename... Parts>
void note(const Parts&... parts)
{
    std::ostringstream call;
    ((call << parts << " "), ...);
    s_calls.push_back(call.str());
    s_calls.back().pop_back();
}

}  // namespace

namespace quill
{

TTYLaser::TTYLaser(const std::string& device) : m_device(device) {}

bool TTYLaser::setState(bool on)
{
    note("laser", m_device, on);
    return false;
}

bool getDeviceSysPath(const std::string& device, std::string* sysPath)
{
    note("syspath", device);
    *sysPath = s_usbIsThere ? "/sys/devices/usb1/1-4" : "";
    return s_usbIsThere;
}

class FT232R
{};

FTDI232GPIOController::FTDI232GPIOController(const std::string& device,
                                             std::shared_ptr<RecursiveMutex> mutex)
    : m_device(device), m_mutex(std::move(mutex))
{}

FTDI232GPIOController::~FTDI232GPIOController()
{
    note("released");
}

std::shared_ptr<FTDI232GPIOController> FTDI232GPIOController::create(
    const std::string& device, const std::shared_ptr<RecursiveMutex>& mutex)
{
    note("create", device, mutex != nullptr);
    if (!s_chipIsThere) throw GPIOError("no chip");
    return std::shared_ptr<FTDI232GPIOController>(new FTDI232GPIOController(device, mutex));
}

std::shared_ptr<GPIOPin> FTDI232GPIOController::configureCBusPin(unsigned int pin,
                                                                 Direction direction,
                                                                 const std::string& name)
{
    note("configure", pin, int{direction}, name);
    if (pin > 3) throw GPIOError("no such pin");
    return std::make_shared<GPIOPin>(shared_from_this(), pin, name);
}

bool FTDI232GPIOController::setValue(unsigned int pin, int value)
{
    note("set", pin, value);
    return false;
}

}  // namespace quill

namespace
{

std::vector<std::string> run(const std::string& commands)
{
    s_calls.clear();
    HardwareDriver("/dev/adapter").executeCommands(commands);
    return s_calls;
}

TEST(LaserCommand, IsOffForZeroOnlyAndSaysNothing)
{
    support::LogCapture log;
    EXPECT_THAT(run("laser(0);laser(1);laser(2);laser(-1)"),
                ElementsAre("laser /dev/adapter 0", "laser /dev/adapter 1", "laser /dev/adapter 1",
                            "laser /dev/adapter 1"));
    EXPECT_THAT(log.records(), IsEmpty()) << "a failure is the library's to tell";
}

TEST(CbusCommand, MakesOneControllerAndHandsStatesOnUnchanged)
{
    support::LogCapture log;
    EXPECT_THAT(run("cbus(1,1);cbus(3,0);cbus(2,5);cbus(1,-1)"),
                ElementsAre("create /dev/adapter 0", "configure 1 0 pin", "set 1 1",
                            "configure 3 0 pin", "set 3 0", "configure 2 0 pin", "set 2 5",
                            "configure 1 0 pin", "set 1 -1", "released"));
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(CbusCommand, FailsWithOneLineAndTheListGoesOn)
{
    {
        support::LogCapture log;
        EXPECT_THAT(run("cbus(-1,1);cbus(0,1)"),
                    ElementsAre("create /dev/adapter 0", "configure 4294967295 0 pin",
                                "configure 0 0 pin", "set 0 1", "released"));
        EXPECT_THAT(log.records(), ElementsAre("2 visca_control: Failed to set CBUS pin -1."));
    }
    s_chipIsThere = false;
    support::LogCapture log;
    EXPECT_THAT(
        run("cbus(0,1);cbus(1,1);laser(0)"),
        ElementsAre("create /dev/adapter 0", "create /dev/adapter 0", "laser /dev/adapter 0"));
    EXPECT_THAT(log.records(), ElementsAre("2 visca_control: Failed to set CBUS pin 0.",
                                           "2 visca_control: Failed to set CBUS pin 1."));
    s_chipIsThere = true;
}

TEST(UsbSysPathCommand, PrintsWhateverTheLookUpLeft)
{
    for (const bool found : {true, false}) {
        s_usbIsThere = found;
        testing::internal::CaptureStdout();
        EXPECT_THAT(run("usbsyspath"), ElementsAre("syspath /dev/adapter"));
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  found ? "syspath for /dev/adapter = /sys/devices/usb1/1-4\n"
                        : "syspath for /dev/adapter = \n");
    }
}

}  // namespace
