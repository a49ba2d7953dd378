// What the camera makes of the packets it receives.

#include <algorithm>

#include "tools/rigsim/camera_model.h"

namespace rigsim
{

namespace visca = quill::visca;

namespace
{

constexpr uint8_t kOn = 0x02;
constexpr uint8_t kStandby = 0x03;

// In the forms of commands: any byte, and a byte with four bits of a position.
constexpr int kAny = -1;
constexpr int kNibble = -2;

bool isInForm(const Bytes& body, const std::vector<int>& form)
{
    const auto agrees = [](uint8_t byte, int wanted) {
        if (wanted == kNibble) return byte <= 0x0F;
        return wanted == kAny || byte == wanted;
    };
    return body.size() == form.size() && std::equal(body.begin(), body.end(), form.begin(), agrees);
}

bool isWithin(int value, int lowest, int highest)
{
    return value >= lowest && value <= highest;
}

Bytes nibbles(int steps)
{
    return visca::encodeNibbles(static_cast<uint16_t>(steps));
}

}  // namespace

struct CameraModel::Command
{
    std::vector<int> form;  // the packet without header and terminator
    void (CameraModel::*run)(const Bytes& body);
};

const std::vector<CameraModel::Command>& CameraModel::commands()
{
    constexpr int x = kAny, n = kNibble;
    static const std::vector<Command> table = {
        {{0x01, 0x06, 0x02, x, x, n, n, n, n, n, n, n, n}, &CameraModel::movePanTilt},
        {{0x01, 0x06, 0x04}, &CameraModel::home},
        {{0x01, 0x06, 0x05}, &CameraModel::reset},
        {{0x01, 0x06, 0x01, x, x, 0x03, 0x03}, &CameraModel::stopPanTilt},
        {{0x01, 0x04, 0x47, n, n, n, n}, &CameraModel::moveZoom},
        {{0x01, 0x04, 0x00, kOn}, &CameraModel::setPower},
        {{0x01, 0x04, 0x00, kStandby}, &CameraModel::setPower},
        {{0x01, 0x00, 0x01}, &CameraModel::clear},
        {{0x21}, &CameraModel::cancel},
        {{0x22}, &CameraModel::cancel},
        {{0x09, 0x06, 0x12}, &CameraModel::tellPanTilt},
        {{0x09, 0x04, 0x47}, &CameraModel::tellZoom},
        {{0x09, 0x04, 0x00}, &CameraModel::tellPower},
        {{0x09, 0x00, 0x02}, &CameraModel::tellVersion},
    };
    return table;
}

void CameraModel::handle(const Bytes& packet)
{
    m_packets.push_back(packet);
    if (m_packets.size() == 1 && m_faults.has("camera.stale")) sendStale();
    if (packet[0] == visca::kBroadcast) return handleBroadcast(packet);
    if (packet[0] != visca::kToCamera) return;  // for a camera further down the chain, or noise

    const Bytes body(packet.begin() + 1, packet.end() - 1);
    const auto& table = commands();
    const auto command = std::find_if(table.begin(), table.end(),
                                      [&](const Command& c) { return isInForm(body, c.form); });
    if (command == table.end()) return refuse(0, visca::kSyntaxError);
    (this->*command->run)(body);
}

void CameraModel::handleBroadcast(const Bytes& packet)
{
    if (packet == visca::addressSet()) return reply(visca::addressSetReply(2));
    if (packet != visca::interfaceClear()) return;
    if (m_faults.has("camera.ignore-clear")) return;
    if (m_faults.has("camera.refuse-clear")) return refuse(0, visca::kSyntaxError);
    m_sockets = {};
    reply(packet);
}

void CameraModel::movePanTilt(const Bytes& body)
{
    const int pan = static_cast<int16_t>(visca::decodeNibbles(body, 5));
    const int tilt = static_cast<int16_t>(visca::decodeNibbles(body, 9));
    if (!admitsMove()) return;
    if (!isWithin(body[3], 1, kMaxPanSpeed) || !isWithin(body[4], 1, kMaxTiltSpeed) ||
        !isWithin(pan, kPanMin, kPanMax) || !isWithin(tilt, kTiltMin, kTiltMax))
        return refuse(1, visca::kNotExecutable);

    const auto start = takeSocket(Motion::PanTilt);
    if (!start) return;
    m_pan.moveTo(pan, body[3] * kStepsPerSecond, *start);
    m_tilt.moveTo(tilt, body[4] * kStepsPerSecond, *start);
}

void CameraModel::home(const Bytes&)
{
    if (!admitsMove()) return;
    const auto start = takeSocket(Motion::PanTilt);
    if (!start) return;
    m_pan.moveTo(0, kMaxPanSpeed * kStepsPerSecond, *start);
    m_tilt.moveTo(0, kMaxTiltSpeed * kStepsPerSecond, *start);
}

// Looks for its reference at the lower limits, then goes home.
void CameraModel::reset(const Bytes&)
{
    if (!admitsMove()) return;
    const auto start = takeSocket(Motion::PanTilt);
    if (!start) return;
    m_pan.moveTo(kPanMin, kMaxPanSpeed * kStepsPerSecond, *start);
    m_pan.thenTo(0, kMaxPanSpeed * kStepsPerSecond);
    m_tilt.moveTo(kTiltMin, kMaxTiltSpeed * kStepsPerSecond, *start);
    m_tilt.thenTo(0, kMaxTiltSpeed * kStepsPerSecond);
}

void CameraModel::stopPanTilt(const Bytes&)
{
    if (!admitsMove()) return;
    stopAxes(Motion::PanTilt);
    completeDue();
    takeSocket(Motion::PanTilt);
}

void CameraModel::moveZoom(const Bytes& body)
{
    const int zoom = visca::decodeNibbles(body, 3);
    if (!admitsMove()) return;
    if (zoom > kZoomMax) return refuse(1, visca::kNotExecutable);
    if (const auto start = takeSocket(Motion::Zoom))
        m_zoom.moveTo(zoom, kZoomStepsPerSecond, *start);
}

void CameraModel::setPower(const Bytes& body)
{
    if (!takeSocket(Motion::None)) return;
    m_isOn = body[3] == kOn;
    if (m_isOn) return;
    stopAxes(Motion::PanTilt);
    stopAxes(Motion::Zoom);
}

void CameraModel::clear(const Bytes&)
{
    m_sockets = {};
    reply(visca::completion(0));
}

void CameraModel::cancel(const Bytes& body)
{
    const int number = body[0] & 0x0F;
    Socket& socket = m_sockets[static_cast<size_t>(number - 1)];
    if (!socket.isBusy) return refuse(0, visca::kNoSocket);
    socket.isBusy = false;
    stopAxes(socket.motion);
    refuse(number, visca::kCancelled);
}

void CameraModel::tellPanTilt(const Bytes&)
{
    Bytes data = nibbles(reading(m_pan));
    const Bytes tilt = nibbles(reading(m_tilt));
    data.insert(data.end(), tilt.begin(), tilt.end());
    reply(visca::completion(0, data));
}

void CameraModel::tellZoom(const Bytes&)
{
    reply(visca::completion(0, nibbles(reading(m_zoom))));
}

void CameraModel::tellPower(const Bytes&)
{
    reply(visca::completion(0, {m_isOn ? kOn : kStandby}));
}

// Vendor and model 0 belong to no real camera; firmware 1.0, two sockets.
void CameraModel::tellVersion(const Bytes&)
{
    reply(visca::completion(0, {0x00, 0x00, 0x00, 0x00, 0x01, 0x00, 0x02}));
}

}  // namespace rigsim
