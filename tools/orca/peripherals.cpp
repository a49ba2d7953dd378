#include <cstdio>

#include "devices/gpio/ftdi232_gpio_controller.h"
#include "devices/laser/tty_laser.h"
#include "devices/usb/usb_device.h"
#include "log.h"
#include "tools/orca/hardware_driver.h"

using quill::FTDI232GPIOController;

void HardwareDriver::laserOn(int n)
{
    quill::TTYLaser(devicePath).setState(n != 0);
}

void HardwareDriver::setCBus(int pin, int state)
{
    try {
        if (gpioController == nullptr)
            gpioController = FTDI232GPIOController::create(devicePath, nullptr);
        const auto configured = gpioController->configureCBusPin(
            static_cast<unsigned int>(pin), FTDI232GPIOController::Output, "pin");
        configured->controller()->setValue(configured->number(), state);
    } catch (const quill::GPIOError&) {  // the library has told the cause
        QUILL_LOG(kFailure, kLogCategory) << "Failed to set CBUS pin " << pin << ".";
    }
}

void HardwareDriver::usbSysPath()
{
    std::string sysPath;
    quill::getDeviceSysPath(devicePath, &sysPath);
    std::printf("syspath for %s = %s\n", devicePath.c_str(), sysPath.c_str());
}
