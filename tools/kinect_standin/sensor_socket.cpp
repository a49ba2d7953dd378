#include "sensor_socket.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "log.h"

namespace libfreenect2
{
namespace
{

using namespace quill::kinect;

constexpr const char* kVariable = "RIGSIM_KINECT";
constexpr timeval kAnswerTimeout = {5, 0};
constexpr timeval kNoTimeout = {0, 0};

// @return 0 or errno
int connectTo(int descriptor, const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) return ENAMETOOLONG;
    path.copy(address.sun_path, path.size());
    setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &kAnswerTimeout, sizeof kAnswerTimeout);
    setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &kAnswerTimeout, sizeof kAnswerTimeout);
    const auto* const generic = reinterpret_cast<const sockaddr*>(&address);
    return connect(descriptor, generic, sizeof address) == 0 ? 0 : errno;
}

}  // namespace

std::unique_ptr<SensorSocket> SensorSocket::open(MessageKind request)
{
    const char* const path = std::getenv(kVariable);
    if (path == nullptr || *path == '\0') {
        logError(
            std::string("this build has no libfreenect2, only a stand-in for simulated sensors, "
                        "and ") +
            kVariable + " names none");
        return nullptr;
    }
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    int error = descriptor < 0 ? errno : 0;
    std::unique_ptr<SensorSocket> opened(new SensorSocket(descriptor));
    if (error == 0) error = connectTo(descriptor, path);
    if (error == 0 && opened->ask(request)) return opened;
    logError(std::string(kVariable) + "=" + path +
             ": no simulated sensor: " + (error == 0 ? "no answer" : std::strerror(error)));
    return nullptr;
}

SensorSocket::~SensorSocket()
{
    if (m_descriptor >= 0) close(m_descriptor);
}

bool SensorSocket::ask(MessageKind request)
{
    const auto bytes = encodeHeader(quill::kinect::request(request));
    if (!bytes) return false;
    const ssize_t sent = send(m_descriptor, bytes->data(), bytes->size(), MSG_NOSIGNAL);
    if (sent != static_cast<ssize_t>(bytes->size())) return false;
    const auto reply = receiveHeader();
    if (!reply || reply->kind != MessageKind::Status) return false;
    m_status = static_cast<SensorStatus>(reply->status);
    setsockopt(m_descriptor, SOL_SOCKET, SO_RCVTIMEO, &kNoTimeout, sizeof kNoTimeout);
    return true;
}

bool SensorSocket::receive(void* to, size_t size)
{
    auto* const bytes = static_cast<unsigned char*>(to);
    for (size_t have = 0; have < size;) {
        const ssize_t got = recv(m_descriptor, bytes + have, size - have, 0);
        if (got > 0)
            have += static_cast<size_t>(got);
        else if (got == 0 || errno != EINTR)
            return false;
    }
    return true;
}

std::optional<MessageHeader> SensorSocket::receiveHeader()
{
    HeaderBytes bytes;
    if (!receive(bytes.data(), bytes.size())) return std::nullopt;
    return parseHeader(bytes);
}

void SensorSocket::shutDown()
{
    shutdown(m_descriptor, SHUT_RDWR);
}

}  // namespace libfreenect2
