#pragma once

#include <condition_variable>
#include <functional>
#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "tools/rigsim/kinect_connection.h"
#include "tools/rigsim/kinect_model.h"
#include "tools/rigsim/sim_clock.h"
#include "tools/rigsim/temporary_folder.h"

namespace rigsim
{

struct KinectState
{
    bool isPlugged = true;
    bool hasPower = true;     ///< false: only the hub is seen
    int usbSpeedMbit = 5000;  ///< 480 at USB 2
    bool isStreaming = false;
    int starts = 0;
    int stops = 0;  ///< by a program; a pulled cable is none
    int colourFrames = 0;
    int infraredFrames = 0;  ///< sent whole
};

/// The simulated Kinect of a rig on a Unix socket, with a thread of its own: frames are too big for
/// the one that keeps the serial devices' time. Frames are made only while a program takes them;
/// one that reads slowly loses some. All functions are thread-safe.
class KinectServer
{
  public:
    /// @param clock  must outlive the server
    /// @throw std::runtime_error  no temporary folder
    /// @throw std::system_error   no socket
    KinectServer(const Faults& faults, const SimClock& clock);
    ~KinectServer();
    KinectServer(const KinectServer&) = delete;
    KinectServer& operator=(const KinectServer&) = delete;

    /// Of the socket.
    std::string path() const { return m_folder.path() / "kinect"; }

    KinectState state() const;

    /// Pulls the cable; done when it returns.
    void unplug();

    /// Waits until the state satisfies `condition`. @param timeout  of real time
    /// @return false when it did not within `timeout`
    bool waitFor(const std::function<bool(const KinectState&)>& condition, Duration timeout) const;

    /// Waits until all that programs have done so far is in the state (1 s at most).
    void settle() const;

  private:
    void openSocket();
    void run();
    bool runOnce();
    void waitForWork(uint64_t* wakes);
    void acceptPrograms();
    void answer(KinectConnection* connection, const quill::kinect::MessageHeader& request);
    quill::kinect::SensorStatus status(KinectModel::Kind request) const;
    void startStream(KinectConnection* connection, KinectModel::Kind kind);
    void sendNewestFrame(KinectConnection* connection);
    void write(KinectConnection* connection);
    void dropClosed();
    void pullCable();
    std::optional<Time> nextEvent() const;
    void wake() const;

    const Faults m_faults;
    const SimClock& m_clock;
    const TemporaryFolder m_folder;
    int m_listener = -1;
    int m_wakeUp = -1;
    mutable std::mutex m_mutex;  // guards all that follows
    mutable std::condition_variable m_changed;
    std::optional<KinectModel> m_model;  // made with the first stream
    std::list<KinectConnection> m_connections;
    KinectState m_state;
    Time m_streamStart;
    mutable uint64_t m_wakesAsked = 0;
    uint64_t m_wakesDone = 0;
    bool m_isEnding = false;
    std::thread m_thread;
};

}  // namespace rigsim
