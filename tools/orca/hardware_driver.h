#pragma once

#include <memory>
#include <string>
#include <vector>

namespace quill
{
class FTDI232GPIOController;
class VISCACamera;
}  // namespace quill

using VISCACameraPtr = std::shared_ptr<quill::VISCACamera>;

/// Runs the commands of a command list on the rig. Each command opens the device it needs, works,
/// reports, and releases the device before it returns; failures are reported by the command and the
/// list goes on. Main thread.
class HardwareDriver
{
  public:
    /// @param device  path of the serial device that the commands work on; not opened yet
    explicit HardwareDriver(const std::string& device);
    ~HardwareDriver();
    HardwareDriver(const HardwareDriver&) = delete;
    HardwareDriver& operator=(const HardwareDriver&) = delete;

    /// Every command with its parameters, as "pantilt(pan,tilt)".
    static std::vector<std::string> commandForms();

    /// Recognises every command of a list separated by ";", then runs them in order.
    /// @return 0, or 1 when one of them is unknown: nothing has run then
    int executeCommands(const std::string& commands);

    /// Recognises the commands as executeCommands() does, and prints them with their arguments and
    /// device on standard output instead of running them. Nothing is opened.
    int printCommands(const std::string& commands);

    void setPanTiltZoom(int pan, int tilt, int zoom);
    void getPanTiltZoom();
    void resetPanTilt();
    void setPanTilt(int pan, int tilt);
    void setDynamixelPanTilt(int pan, int tilt);
    void setCBus(int pin, int state);
    void usbSysPath();
    void dxlDump(int maxbaud, int maxid);
    void dxlSetPos(int id, int pos);
    void dxlSetByte(int id, int addr, int value);
    void dxlSetWord(int id, int addr, int value);
    void dxlGetByte(int id, int addr);
    void dxlGetWord(int id, int addr);
    void dynamixelPrecisionTest(int n);
    void laserOn(int n);
    void captureKinectImages();
    void testSystem(const std::string& ptz_tty, const std::string& motors_tty,
                    const std::string& laser_tty);
    void testMotors(int x0, int x1, int y0, int y1, int duration_s);

    /// Returns once three position readings in a row agree, or with a level-2 line when the camera
    /// gives none for 10 s, still moves after 120 s, or is unplugged.
    void waitNotMoving(const VISCACameraPtr& camera);

  private:
    std::string devicePath;
    /// Made by the first cbus command and kept for the later ones.
    std::shared_ptr<quill::FTDI232GPIOController> gpioController;
};
