#pragma once

#include <deque>
#include <optional>

#include "tools/rigsim/kinect_model.h"

namespace rigsim
{

/// A program's connection to the simulated Kinect. Nothing here blocks.
class KinectConnection
{
  public:
    using Kind = quill::kinect::MessageKind;

    /// @param descriptor  of a non-blocking stream socket; owned
    explicit KinectConnection(int descriptor) : m_descriptor(descriptor) {}
    ~KinectConnection();
    KinectConnection(const KinectConnection&) = delete;
    KinectConnection& operator=(const KinectConnection&) = delete;

    int descriptor() const { return m_descriptor; }
    /// Whether the program has left or does not keep to the protocol.
    bool isClosed() const { return m_isClosed; }
    bool hasOutput() const { return !m_output.empty(); }

    /// @return the request that the program has made, when it is whole
    std::optional<quill::kinect::MessageHeader> read();

    /// Takes over what is to be sent by write().
    void send(const quill::kinect::MessageHeader& header, Bytes payload = {});

    /// Sends what the program takes now.
    void write();

    /// The stream that the program has started.
    std::optional<Kind> stream;
    /// Number of the last frame that was sent on it.
    uint32_t lastFrame = 0;

  private:
    int m_descriptor;
    bool m_isClosed = false;
    quill::kinect::HeaderBytes m_request{};
    size_t m_requestBytes = 0;   // received so far
    std::deque<Bytes> m_output;  // none of them empty
    size_t m_written = 0;        // of the first one
};

}  // namespace rigsim
