#include "tools/rigsim/kinect_server.h"

#include <fmt/format.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <vector>

#include "tools/rigsim/real_time.h"

namespace rigsim
{
namespace
{

using quill::kinect::MessageHeader;
using quill::kinect::MessageKind;
using quill::kinect::SensorStatus;

constexpr Duration kSettleTimeout = quill::seconds(1);
constexpr Duration kLongestWait = quill::seconds(3600);
constexpr int kUsb2SpeedMbit = 480;
constexpr int kBacklog = 16;

std::system_error systemError(const char* what)
{
    return {errno, std::generic_category(), what};
}

}  // namespace

KinectServer::KinectServer(const Faults& faults, const SimClock& clock)
    : m_faults(faults), m_clock(clock)
{
    m_state.isPlugged = !faults.has("kinect.absent");
    m_state.hasPower = !faults.has("kinect.no-power");
    if (faults.has("kinect.usb2")) m_state.usbSpeedMbit = kUsb2SpeedMbit;
    openSocket();
    m_thread = std::thread(&KinectServer::run, this);
}

KinectServer::~KinectServer()
{
    {
        const std::lock_guard lock(m_mutex);
        m_isEnding = true;
        wake();
    }
    m_thread.join();
    close(m_listener);
    close(m_wakeUp);
}

void KinectServer::openSocket()
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path().copy(address.sun_path, sizeof address.sun_path - 1);
    const auto* const generic = reinterpret_cast<const sockaddr*>(&address);
    m_listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    m_wakeUp = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (m_listener < 0 || m_wakeUp < 0 || bind(m_listener, generic, sizeof address) < 0 ||
        listen(m_listener, kBacklog) < 0) {
        const std::system_error error = systemError("the Kinect's socket");
        close(m_listener);
        close(m_wakeUp);
        throw error;
    }
}

KinectState KinectServer::state() const
{
    const std::lock_guard lock(m_mutex);
    return m_state;
}

void KinectServer::unplug()
{
    const std::lock_guard lock(m_mutex);
    pullCable();
    wake();
}

bool KinectServer::waitFor(const std::function<bool(const KinectState&)>& condition,
                           Duration timeout) const
{
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, toChrono(timeout), [&] { return condition(m_state); });
}

void KinectServer::settle() const
{
    std::unique_lock lock(m_mutex);
    wake();
    m_changed.wait_for(lock, toChrono(kSettleTimeout),
                       [&, asked = m_wakesAsked] { return m_wakesDone >= asked; });
}

void KinectServer::run()
{
    try {
        while (runOnce()) continue;
    } catch (const std::exception& error) {
        fmt::print(stderr, "rigsim: the simulated Kinect has stopped: {}\n", error.what());
        const std::lock_guard lock(m_mutex);
        pullCable();
    }
}

// Waits for something to do and does it. False when the server is to end.
bool KinectServer::runOnce()
{
    uint64_t wakes = 0;
    waitForWork(&wakes);
    const std::lock_guard lock(m_mutex);
    acceptPrograms();
    for (KinectConnection& connection : m_connections) {
        if (const auto request = connection.read()) answer(&connection, *request);
        if (connection.stream && !connection.hasOutput()) sendNewestFrame(&connection);
        write(&connection);
    }
    dropClosed();
    const auto unplugs = m_faults.span("kinect.unplug");
    if (unplugs && m_state.isStreaming && m_clock.now() >= m_streamStart + *unplugs) pullCable();
    // What a poll that was ended by a wake-up has seen, all came before the wake-up or with it.
    m_wakesDone += wakes;
    m_changed.notify_all();
    return !m_isEnding;
}

void KinectServer::waitForWork(uint64_t* wakes)
{
    std::vector<pollfd> polled = {{m_wakeUp, POLLIN, 0}, {m_listener, POLLIN, 0}};
    Duration wait = kLongestWait;
    {
        const std::lock_guard lock(m_mutex);
        for (const KinectConnection& connection : m_connections) {
            const int events = connection.hasOutput() ? POLLIN | POLLOUT : POLLIN;
            polled.push_back({connection.descriptor(), static_cast<short>(events), 0});
        }
        if (const auto next = nextEvent()) wait = std::min(wait, m_clock.realTimeUntil(*next));
    }
    const timespec timeout = quill::toTimespec(wait);
    if (ppoll(polled.data(), polled.size(), &timeout, nullptr) < 0 && errno != EINTR)
        throw systemError("poll the Kinect's socket");
    if (::read(m_wakeUp, wakes, sizeof *wakes) < 0) *wakes = 0;  // none came
}

// The next frame that somebody can take, or the end of the cable.
std::optional<Time> KinectServer::nextEvent() const
{
    std::optional<Time> next;
    const auto consider = [&](Duration sinceStart) {
        const Time at = m_streamStart + sinceStart;
        if (!next || at < *next) next = at;
    };
    for (const KinectConnection& connection : m_connections)
        if (connection.stream && m_model->hasFrames(*connection.stream) && !connection.hasOutput())
            consider(m_model->dueTime(connection.lastFrame + 1));
    const auto unplugs = m_faults.span("kinect.unplug");
    if (unplugs && m_state.isStreaming) consider(*unplugs);
    return next;
}

void KinectServer::acceptPrograms()
{
    for (;;) {
        const int accepted = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (accepted < 0) return;
        m_connections.emplace_back(accepted);
    }
}

void KinectServer::answer(KinectConnection* connection, const MessageHeader& request)
{
    const SensorStatus answered = status(request.kind);
    connection->send(statusReply(answered));
    const bool asksForStream =
        request.kind == MessageKind::StartColour || request.kind == MessageKind::StartInfrared;
    if (asksForStream && answered == SensorStatus::Ready)
        startStream(connection, request.kind == MessageKind::StartColour ? MessageKind::Colour
                                                                         : MessageKind::Infrared);
}

SensorStatus KinectServer::status(MessageKind request) const
{
    if (!m_state.isPlugged || !m_state.hasPower) return SensorStatus::Absent;
    if (m_faults.has("kinect.no-permission")) return SensorStatus::NoPermission;
    if (m_faults.has("kinect.busy")) return SensorStatus::Busy;
    // Only the isochronous transfers need what USB 2 lacks.
    if (m_faults.has("kinect.usb2") && request == MessageKind::StartInfrared)
        return SensorStatus::NoStream;
    return SensorStatus::Ready;
}

void KinectServer::startStream(KinectConnection* connection, MessageKind kind)
{
    if (!m_model) m_model.emplace(m_faults);
    if (!m_state.isStreaming) {
        m_streamStart = m_clock.now();
        m_state.isStreaming = true;
        ++m_state.starts;
    }
    connection->stream = kind;
    connection->lastFrame = 0;
}

// What became due while the program was still reading is lost.
void KinectServer::sendNewestFrame(KinectConnection* connection)
{
    const uint32_t newest = m_model->newestFrame(m_clock.now() - m_streamStart);
    if (newest <= connection->lastFrame || !m_model->hasFrames(*connection->stream)) return;
    KinectFrame frame = m_model->frame(*connection->stream, newest);
    connection->send(frame.header, std::move(frame.pixels));
    connection->lastFrame = newest;
}

void KinectServer::write(KinectConnection* connection)
{
    const bool hadFrame = connection->hasOutput() && connection->lastFrame > 0;
    connection->write();
    if (!hadFrame || connection->hasOutput()) return;
    ++(connection->stream == MessageKind::Colour ? m_state.colourFrames : m_state.infraredFrames);
}

void KinectServer::dropClosed()
{
    m_connections.remove_if([](const KinectConnection& c) { return c.isClosed(); });
    const bool isStreaming = std::any_of(m_connections.begin(), m_connections.end(),
                                         [](const auto& c) { return c.stream.has_value(); });
    if (m_state.isStreaming && !isStreaming) ++m_state.stops;
    m_state.isStreaming = isStreaming;
}

void KinectServer::pullCable()
{
    m_connections.clear();
    m_state.isPlugged = false;
    m_state.isStreaming = false;
    m_changed.notify_all();
}

void KinectServer::wake() const
{
    ++m_wakesAsked;
    // Can only fail when it has been woken 2^64 times and has not run.
    (void)eventfd_write(m_wakeUp, 1);
}

}  // namespace rigsim
