#pragma once

#include <condition_variable>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tools/rigsim/camera_model.h"
#include "tools/rigsim/clock_server.h"
#include "tools/rigsim/faults.h"
#include "tools/rigsim/ft232r_model.h"
#include "tools/rigsim/kinect_server.h"
#include "tools/rigsim/laser_model.h"
#include "tools/rigsim/pty_line.h"
#include "tools/rigsim/servo_bus_model.h"
#include "tools/rigsim/sim_clock.h"
#include "tools/rigsim/trace.h"

namespace rigsim
{

struct RigOptions
{
    Faults faults;
    double speed = 1;            ///< simulated seconds per second, more than 0
    std::string traceFile = {};  ///< one line per transfer; empty: no trace
    std::vector<ServoSetup> servos = defaultServos();
};

/// A whole simulated rig: its serial lines, the devices behind them, and the thread that runs them
/// from construction to destruction. All functions are thread-safe.
class Rig
{
  public:
    /// A serial line of the rig.
    struct Line
    {
        std::string device;  ///< "camera", "servos", "laser"
        std::string node;    ///< its name in /dev: "ttyUSB0", "ttyUSB1", "ttyUSB2"
        std::string path;    ///< where a program opens it; gone when it is unplugged
        int usbNumber;       ///< of its adapter: device number and port on the first USB bus
        UsbIdentity adapter;
    };

    /// @throw std::system_error  no pseudo terminal, or the trace file cannot be written
    /// @throw std::invalid_argument  a servo cannot be set up like that
    explicit Rig(const RigOptions& options = {});
    ~Rig();
    Rig(const Rig&) = delete;
    Rig& operator=(const Rig&) = delete;

    const std::vector<Line>& lines() const { return m_lines; }
    const Faults& faults() const { return m_faults; }

    /// Where a program opens the line.
    const std::string& cameraPath() const { return m_camera.device->line.path; }
    const std::string& servosPath() const { return m_servos.device->line.path; }
    const std::string& laserPath() const { return m_laser.device->line.path; }

    CameraState cameraState() const;
    /// @param id  in the servo's register now
    /// @throw std::out_of_range  no servo has it
    ServoState servoState(int id) const;
    LaserState laserState() const;

    /// The USB adapter of a line.
    /// @param device  as in Line; std::out_of_range when no line has it
    AdapterState adapterState(const std::string& device) const;
    /// What a program does with it by way of its USB node: transfers with its control endpoint and
    /// what it asks of the system. Both give ENODEV once the cable is pulled.
    UsbReply transfer(const std::string& device, const UsbSetup& setup);
    int act(const std::string& device, UsbAction action);

    /// The socket at which a program shares the clock of the serial lines' devices.
    std::string clockPath() const { return m_clockServer.path(); }

    KinectState kinectState() const { return m_kinect.state(); }

    /// The Kinect, whose socket a program finds through the testbed.
    KinectServer& kinect() { return m_kinect; }
    const KinectServer& kinect() const { return m_kinect; }

    /// The packets that the camera has received, in order; of this and the next two lists the last
    /// 1000 are kept.
    std::vector<Bytes> cameraPackets() const;
    /// The requests that a servo has received, at its own bit rate, in order.
    std::vector<Bytes> servoPackets() const;
    /// The packets that the laser's relay has received, rejected ones too, in order.
    std::vector<Bytes> laserPackets() const;

    /// One more path at which a program may open the line of a device, gone when it is unplugged;
    /// in place of what is there.
    /// @throw std::filesystem::filesystem_error
    void addPath(const std::string& device, const std::filesystem::path& path);
    /// Takes it away; the rig does not touch the path any more when this returns.
    void removePath(const std::string& device, const std::filesystem::path& path);

    /// Pulls the cable; done when it returns.
    void unplugCamera() { unplug(m_camera.device); }
    void unplugServos() { unplug(m_servos.device); }
    void unplugLaser() { unplug(m_laser.device); }

    /// Waits until the device's state satisfies `condition`, looked at whenever a line or a device
    /// has done something.
    /// @param timeout  of real time
    /// @return false when it did not within `timeout`
    bool waitForCamera(const std::function<bool(const CameraState&)>& condition,
                       Duration timeout) const;
    bool waitForServo(int id, const std::function<bool(const ServoState&)>& condition,
                      Duration timeout) const;
    bool waitForLaser(const std::function<bool(const LaserState&)>& condition,
                      Duration timeout) const;

    /// Waits until the devices have taken all that programs have written so far (1 s at most).
    void settle() const;

    /// The state of all devices as a JSON object.
    std::string stateJson() const;

  private:
    struct Device
    {
        Device(const char* name, const char* node, int usbNumber, const Faults& faults,
               std::unique_ptr<SerialModel> behind);

        PtyLine pty;
        Line line;
        Ft232rModel chip;  // of the adapter
        std::unique_ptr<SerialModel> model;
        bool isPulled = false;  // asked for by a caller, done by the thread that polls
    };

    template <typename Model>
    struct Member  // of the rig; owned by m_devices
    {
        Device* device;
        Model* model;
    };

    template <typename Model>
    Member<Model> addDevice(const char* name, const char* node, std::unique_ptr<Model> model);
    void unplug(Device* device);
    bool waitFor(const std::function<bool()>& condition, Duration timeout) const;
    CameraState lockedCameraState() const;
    std::vector<ServoState> lockedServoStates() const;
    std::optional<ServoState> lockedServoState(int id) const;
    LaserState lockedLaserState() const;
    AdapterState lockedAdapterState(const Device& device) const;
    Device& deviceOf(const std::string& name) const;
    void run();
    bool runDevices();
    void runEveryDevice();
    void shareClock();
    std::optional<Time> nextEvent() const;
    /// Whether its line has room for what a program writes now.
    bool takesMore(const Device& device) const;
    void runDevice(Device* device);
    void receive(Device* device, const Bytes& bytes, Time now);
    void send(Device* device, const Output& output);
    void waitForWork();
    void wake() const;

    Faults m_faults;
    SimClock m_clock;
    SimClock m_kinectClock;  // frames come in real time
    ClockServer m_clockServer;
    KinectServer m_kinect;
    Trace m_trace;
    std::vector<std::unique_ptr<Device>> m_devices;
    std::vector<Line> m_lines;
    Member<CameraModel> m_camera;
    Member<ServoBusModel> m_servos;
    Member<LaserModel> m_laser;
    int m_wakeUp = -1;
    bool m_isEnding = false;
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::thread m_thread;
};

}  // namespace rigsim
