#pragma once

#include <libfreenect2/frame_listener.hpp>

#include <atomic>
#include <memory>
#include <thread>

#include "sensor_socket.h"

namespace libfreenect2
{

/// Receives the frames of one stream and hands them to its listener, on a thread of its own.
class StreamWorker
{
  public:
    /// @param type  Color or Ir
    explicit StreamWorker(Frame::Type type) : m_type(type) {}
    ~StreamWorker() { stop(); }
    StreamWorker(const StreamWorker&) = delete;
    StreamWorker& operator=(const StreamWorker&) = delete;

    /// @param listener  must live until stop() has returned; null: the frames are dropped
    /// @return false when the sensor does not stream; logged as an error
    bool start(FrameListener* listener);
    void stop();

  private:
    void run(FrameListener* listener);
    bool receiveFrame(std::unique_ptr<Frame>* frame);

    const Frame::Type m_type;
    std::unique_ptr<SensorSocket> m_socket;
    std::atomic<bool> m_isStopping{false};
    std::thread m_thread;
};

}  // namespace libfreenect2
