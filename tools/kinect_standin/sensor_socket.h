#pragma once

#include <cstddef>
#include <memory>
#include <optional>

#include "tools/kinect_standin/frame_stream.h"

namespace libfreenect2
{

/// A connection to the simulated sensor whose socket the environment variable RIGSIM_KINECT names.
/// Failures are logged as errors.
class SensorSocket
{
  public:
    /// Connects and makes one request, 5 s at most. The answer is in status().
    /// @return null when nobody answers
    static std::unique_ptr<SensorSocket> open(quill::kinect::MessageKind request);
    ~SensorSocket();
    SensorSocket(const SensorSocket&) = delete;
    SensorSocket& operator=(const SensorSocket&) = delete;

    quill::kinect::SensorStatus status() const { return m_status; }

    /// Wait until all of it is there. @return false, nothing: the stream has ended or is out of
    /// step
    bool receive(void* to, size_t size);
    std::optional<quill::kinect::MessageHeader> receiveHeader();

    /// Ends a receive() of another thread, and all later ones.
    void shutDown();

  private:
    explicit SensorSocket(int descriptor) : m_descriptor(descriptor) {}
    bool ask(quill::kinect::MessageKind request);

    int m_descriptor;
    quill::kinect::SensorStatus m_status = quill::kinect::SensorStatus::Absent;
};

}  // namespace libfreenect2
