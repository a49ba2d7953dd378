#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tools/rigsim/camera_model.h"
#include "tools/rigsim/faults.h"
#include "tools/rigsim/pty_line.h"
#include "tools/rigsim/sim_clock.h"
#include "tools/rigsim/trace.h"

namespace rigsim
{

struct RigOptions
{
    Faults faults;
    double speed = 1;       ///< simulated seconds per second, more than 0
    std::string traceFile;  ///< one line per transfer; empty: no trace
};

/// A whole simulated rig: its serial lines, the devices behind them, and the thread that runs them
/// from construction to destruction. All functions are thread-safe.
class Rig
{
  public:
    /// A serial line of the rig.
    struct Line
    {
        std::string device;  ///< "camera"
        std::string node;    ///< its name in /dev: "ttyUSB0"
        std::string path;    ///< of the pseudo terminal
    };

    /// @throw std::system_error  no pseudo terminal, or the trace file cannot be written
    explicit Rig(const RigOptions& options = {});
    ~Rig();
    Rig(const Rig&) = delete;
    Rig& operator=(const Rig&) = delete;

    const std::vector<Line>& lines() const { return m_lines; }

    /// Where a program opens the camera's line: /dev/pts/N.
    const std::string& cameraPath() const;
    CameraState cameraState() const;
    /// Every packet that the camera has received, in order.
    std::vector<Bytes> cameraPackets() const;
    /// Pulls the camera's cable; done when it returns.
    void unplugCamera();

    /// Waits until the camera's state satisfies `condition`, looked at whenever a line or a device
    /// has done something.
    /// @param timeout  of real time
    /// @return false when it did not within `timeout`
    bool waitForCamera(const std::function<bool(const CameraState&)>& condition,
                       Duration timeout) const;

    /// Waits until the devices have taken all that programs have written so far (1 s at most).
    void settle() const;

    /// The state of all devices as a JSON object.
    std::string stateJson() const;

  private:
    struct Device
    {
        Line line;
        std::unique_ptr<SerialModel> model;
        PtyLine pty;
        bool isPulled = false;  // asked for by a caller, done by the thread that polls
    };

    void addDevice(const char* name, const char* node, std::unique_ptr<SerialModel> model);
    CameraState lockedCameraState() const;
    void run();
    bool runDevices();
    void runDevice(Device* device);
    void receive(Device* device, const Bytes& bytes, Time now);
    void send(Device* device, const Output& output);
    void waitForWork();
    void wake() const;

    SimClock m_clock;
    Trace m_trace;
    CameraModel* m_camera = nullptr;  // owned by its device
    std::vector<std::unique_ptr<Device>> m_devices;
    std::vector<Line> m_lines;
    int m_wakeUp = -1;
    bool m_isEnding = false;
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::thread m_thread;
};

}  // namespace rigsim
