#include "tools/rigsim/camera_model.h"

#include <algorithm>
#include <utility>

namespace rigsim
{

namespace visca = quill::visca;

CameraModel::CameraModel(const Faults& faults)
    : m_faults(faults),
      m_bitRate(faults.has("camera.at-38400") ? kFastBitRate : visca::kBitRate),
      m_output(faults, "camera", m_bitRate),
      m_cable(faults, "camera"),
      m_pan(0),
      m_tilt(0),
      m_zoom(0),
      m_isOn(!faults.has("camera.standby"))
{
    if (m_faults.has("camera.stale")) sendStale();
}

bool CameraModel::receive(const Bytes& bytes, unsigned bitRate, Time now)
{
    advance(now);
    if (bitRate != m_bitRate) return false;
    for (const uint8_t byte : bytes) {
        m_lineFree = std::max(m_lineFree, now) + m_output.byteTime();
        if (auto packet = m_reader.push(byte)) m_inbox.push_back({m_lineFree, std::move(*packet)});
    }
    m_output.hear(bytes, m_lineFree);
    return true;
}

std::optional<Time> CameraModel::nextEvent() const
{
    auto next = earlier(m_output.nextDue(), nextCompletion());
    if (!m_inbox.empty()) next = earlier(next, m_inbox.front().at);
    return earlier(next, m_cable.pullTime());
}

std::vector<Output> CameraModel::takeOutput(Time now)
{
    advance(now);
    return m_output.take(m_cable.lastMoment(now));
}

CameraState CameraModel::state(Time now) const
{
    CameraState state;
    state.pan = shown(m_pan, now);
    state.tilt = shown(m_tilt, now);
    state.zoom = shown(m_zoom, now);
    state.panGoal = m_pan.goal();
    state.tiltGoal = m_tilt.goal();
    state.zoomGoal = m_zoom.goal();
    state.isMoving = m_pan.isMoving(now) || m_tilt.isMoving(now) || m_zoom.isMoving(now);
    state.isOn = m_isOn;
    state.isPlugged = !isUnplugged(now);
    state.packets = m_packets.count();
    state.replies = m_output.packets();
    state.moves = m_moves;
    state.refusals = m_refusals;
    return state;
}

// Arrivals and ends of motion in the order of their times, so that the outcome does not depend on
// how often the model is called.
void CameraModel::advance(Time now)
{
    for (;;) {
        const auto completion = nextCompletion();
        const bool hasMail = !m_inbox.empty() && m_inbox.front().at <= now;
        if (completion && *completion <= now && (!hasMail || *completion <= m_inbox.front().at)) {
            m_now = std::max(m_now, *completion);
            completeDue();
        } else if (hasMail) {
            const Arrival arrival = std::move(m_inbox.front());
            m_inbox.pop_front();
            m_now = arrival.at;
            handle(arrival.packet);
        } else {
            break;
        }
    }
    m_now = std::max(m_now, now);
}

bool CameraModel::takeMove()
{
    ++m_ordersSeen;
    const bool isFull = m_ordersSeen <= m_faults.count("camera.buffer-full").value_or(0);
    if (!m_isOn || m_faults.has("camera.refuse"))
        refuse(1, visca::kNotExecutable);
    else if (isFull)
        refuse(0, visca::kBufferFull);
    else
        return true;
    return false;
}

// Acknowledges a command into a free socket, or refuses it. The time is when the command begins.
// It is done when the motion `until` ends.
std::optional<Time> CameraModel::takeSocket(Motion motion, Motion until)
{
    const auto free = std::find_if(m_sockets.begin(), m_sockets.end(),
                                   [](const Socket& socket) { return !socket.isBusy; });
    if (free == m_sockets.end()) {
        refuse(0, visca::kBufferFull);
        return std::nullopt;
    }
    *free = {true, until, acknowledgeTime(), std::nullopt};
    const auto refusal = m_faults.span("camera.refuse-taken");
    if (refusal && until == Motion::PanTilt) free->refusal = free->start + *refusal;
    if (!m_faults.has("camera.no-ack")) reply(visca::acknowledge(numberOf(*free)), free->start);
    if (motion == Motion::None) return free->start;

    ++m_moves;
    m_cable.orderTaken(m_now);
    return free->start;
}

Time CameraModel::acknowledgeTime()
{
    const bool isFirst = !std::exchange(m_hasAcknowledged, true);
    if (isFirst) m_repliesFrom = m_now + m_faults.span("camera.late-ack").value_or(Duration());
    return std::max(m_now, m_repliesFrom);
}

int CameraModel::numberOf(const Socket& socket) const
{
    if (m_faults.has("camera.one-socket")) return 1;
    return static_cast<int>(&socket - m_sockets.data()) + 1;
}

// A command that another one has overtaken ends with it, when the axes come to rest.
Time CameraModel::endOf(const Socket& socket) const
{
    Time end = socket.start;
    if (socket.motion == Motion::PanTilt) end = std::max({end, m_pan.arrival(), m_tilt.arrival()});
    if (socket.motion == Motion::Zoom) end = std::max(end, m_zoom.arrival());
    return std::min(end, socket.refusal.value_or(end));
}

std::optional<Time> CameraModel::nextCompletion() const
{
    std::optional<Time> next;
    for (const Socket& socket : m_sockets)
        if (socket.isBusy) next = earlier(next, endOf(socket));
    return next;
}

void CameraModel::completeDue()
{
    for (Socket& socket : m_sockets) {
        if (!socket.isBusy || endOf(socket) > m_now) continue;
        socket.isBusy = false;
        if (socket.refusal && *socket.refusal <= m_now) {
            stopAxes(socket.motion);
            refuse(numberOf(socket), visca::kNotExecutable);
        } else {
            reply(visca::completion(numberOf(socket)));
        }
    }
}

void CameraModel::stopAxes(Motion motion)
{
    if (motion == Motion::PanTilt) {
        m_pan.stop(m_now);
        m_tilt.stop(m_now);
    } else if (motion == Motion::Zoom) {
        m_zoom.stop(m_now);
    }
}

int CameraModel::shown(const Axis& axis, Time at) const
{
    return m_faults.has("camera.stuck") ? 0 : axis.position(at);
}

// What an inquiry is told: a restless axis wanders around where it stands.
int CameraModel::reading(const Axis& axis)
{
    const int position = shown(axis, m_now);
    if (!m_faults.has("camera.restless")) return position;
    return position + ++m_readings % 100;
}

void CameraModel::tellPosition(Bytes data)
{
    if (m_faults.has("camera.refuse-inquiries")) return refuse(0, visca::kNotExecutable);
    if (++m_positionsTold <= m_faults.count("camera.high-nibbles").value_or(0))
        for (uint8_t& nibble : data) nibble |= 0x30;
    reply(visca::completion(0, data));
}

// What is left of a run before this one, or of the camera's own power-up.
void CameraModel::sendStale()
{
    reply(visca::completion(1));
    reply(visca::networkChange());
}

// What was under way when the program opened the line.
void CameraModel::sendLeftovers()
{
    if (m_faults.has("camera.stale")) sendStale();
    if (const auto after = m_faults.span("camera.stray-error"))
        reply(visca::errorReply(2, visca::kCancelled), m_now + *after);
}

void CameraModel::reply(Bytes packet, Time at)
{
    const bool isFromCamera = packet[0] == visca::kFromCamera;
    if (isFromCamera && m_faults.has("camera.other-address")) packet[0] = 0xA0;
    m_output.send(packet, std::max(at, m_repliesFrom));
}

void CameraModel::refuse(int socket, uint8_t error)
{
    ++m_refusals;
    reply(visca::errorReply(socket, error));
}

}  // namespace rigsim
