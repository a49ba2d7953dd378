#include "tools/rigsim/kinect_connection.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace rigsim
{
namespace
{

bool isForLater(int error)
{
    return error == EAGAIN || error == EINTR;
}

}  // namespace

KinectConnection::~KinectConnection()
{
    close(m_descriptor);
}

std::optional<quill::kinect::MessageHeader> KinectConnection::read()
{
    const size_t missing = m_request.size() - m_requestBytes;
    const ssize_t got = recv(m_descriptor, &m_request[m_requestBytes], missing, 0);
    if (got == 0 || (got < 0 && !isForLater(errno))) m_isClosed = true;
    if (got <= 0) return std::nullopt;
    m_requestBytes += static_cast<size_t>(got);
    if (m_requestBytes < m_request.size()) return std::nullopt;
    m_requestBytes = 0;
    const auto request = quill::kinect::parseHeader(m_request);
    if (!request) m_isClosed = true;
    return request;
}

void KinectConnection::send(const quill::kinect::MessageHeader& header, Bytes payload)
{
    const auto bytes = quill::kinect::encodeHeader(header);
    if (!bytes) return;
    m_output.emplace_back(bytes->begin(), bytes->end());
    if (!payload.empty()) m_output.push_back(std::move(payload));
}

void KinectConnection::write()
{
    while (hasOutput()) {
        const Bytes& bytes = m_output.front();
        const ssize_t sent =
            ::send(m_descriptor, &bytes[m_written], bytes.size() - m_written, MSG_NOSIGNAL);
        if (sent < 0) {
            if (!isForLater(errno)) m_isClosed = true;
            return;
        }
        m_written += static_cast<size_t>(sent);
        if (m_written < bytes.size()) continue;
        m_output.pop_front();
        m_written = 0;
    }
}

}  // namespace rigsim
