#include "devices/laser/tty_laser.h"
#include "tools/orca/hardware_driver.h"

void HardwareDriver::laserOn(int n)
{
    quill::TTYLaser(devicePath).setState(n != 0);
}
