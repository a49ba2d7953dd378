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
constexpr uint8_t kAutofocus = 0x02;

// In the forms of commands: any byte, a byte with four bits of a position, and a direction.
constexpr int kAny = -1;
constexpr int kNibble = -2;
constexpr int kDirection = -3;

// Directions of drives: of the pan or tilt axis, and in the high half of a zoom drive's byte.
constexpr uint8_t kLeftOrUp = 1, kRightOrDown = 2, kStay = 3;
constexpr uint8_t kTele = 2, kWide = 3;

bool isInForm(const Bytes& body, const std::vector<int>& form)
{
    const auto agrees = [](uint8_t byte, int wanted) {
        if (wanted == kNibble) return byte <= 0x0F;
        if (wanted == kDirection) return byte >= kLeftOrUp && byte <= kStay;
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

int signedAt(const Bytes& body, size_t offset)
{
    return static_cast<int16_t>(visca::decodeNibbles(body, offset));
}

bool areSpeeds(int pan, int tilt)
{
    return isWithin(pan, 1, CameraModel::kMaxPanSpeed) &&
           isWithin(tilt, 1, CameraModel::kMaxTiltSpeed);
}

}  // namespace

struct CameraModel::Command
{
    std::vector<int> form;  // the packet without header and terminator
    void (CameraModel::*run)(const Bytes& body);
};

const std::vector<CameraModel::Command>& CameraModel::commands()
{
    constexpr int x = kAny, n = kNibble, d = kDirection;
    static const std::vector<Command> table = {
        {{0x01, 0x06, 0x02, x, x, n, n, n, n, n, n, n, n}, &CameraModel::movePanTilt},
        {{0x01, 0x06, 0x03, x, x, n, n, n, n, n, n, n, n}, &CameraModel::movePanTiltBy},
        {{0x01, 0x06, 0x04}, &CameraModel::home},
        {{0x01, 0x06, 0x05}, &CameraModel::reset},
        {{0x01, 0x06, 0x01, x, x, d, d}, &CameraModel::drivePanTilt},
        {{0x01, 0x04, 0x47, n, n, n, n}, &CameraModel::moveZoom},
        {{0x01, 0x04, 0x07, x}, &CameraModel::driveZoom},
        {{0x01, 0x04, 0x00, kOn}, &CameraModel::setPower},
        {{0x01, 0x04, 0x00, kStandby}, &CameraModel::setPower},
        {{0x01, 0x00, 0x01}, &CameraModel::clear},
        {{0x21}, &CameraModel::cancel},
        {{0x22}, &CameraModel::cancel},
        {{0x09, 0x06, 0x12}, &CameraModel::tellPanTilt},
        {{0x09, 0x04, 0x47}, &CameraModel::tellZoom},
        {{0x09, 0x04, 0x00}, &CameraModel::tellPower},
        {{0x09, 0x00, 0x02}, &CameraModel::tellVersion},
        {{0x09, 0x04, 0x48}, &CameraModel::tellFocus},
        {{0x09, 0x04, 0x38}, &CameraModel::tellFocusMode},
        {{0x09, 0x06, 0x10}, &CameraModel::tellPanTiltMode},
        {{0x09, 0x06, 0x11}, &CameraModel::tellMaxSpeed},
    };
    return table;
}

void CameraModel::handle(const Bytes& packet)
{
    m_packets.add(packet);
    if (m_packets.count() == 1) sendLeftovers();
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
    if (packet == visca::addressSet()) return setAddress();
    if (packet != visca::interfaceClear()) return;
    if (m_faults.has("camera.ignore-clear")) return;
    if (const auto late = m_faults.span("camera.refuse-clear")) {
        ++m_refusals;
        return reply(visca::errorReply(0, visca::kSyntaxError), m_now + *late);
    }
    m_sockets = {};
    reply(packet);
}

void CameraModel::setAddress()
{
    if (m_faults.has("camera.ignore-address")) return;
    if (m_faults.has("camera.refuse-address")) return refuse(0, visca::kSyntaxError);
    if (m_faults.has("camera.ack-address")) return reply(visca::acknowledge(1));
    reply(visca::addressSetReply(2));
}

void CameraModel::movePanTilt(const Bytes& body)
{
    if (takeMove()) startPanTilt(body[3], body[4], signedAt(body, 5), signedAt(body, 9));
}

void CameraModel::movePanTiltBy(const Bytes& body)
{
    if (takeMove())
        startPanTilt(body[3], body[4], m_pan.position(m_now) + signedAt(body, 5),
                     m_tilt.position(m_now) + signedAt(body, 9));
}

void CameraModel::startPanTilt(int panSpeed, int tiltSpeed, int pan, int tilt)
{
    if (!areSpeeds(panSpeed, tiltSpeed) || !isWithin(pan, kPanMin, kPanMax) ||
        !isWithin(tilt, kTiltMin, kTiltMax))
        return refuse(1, visca::kNotExecutable);
    const auto start = takeSocket(Motion::PanTilt);
    if (!start) return;
    m_pan.moveTo(pan, panSpeed * kStepsPerSecond, *start);
    m_tilt.moveTo(tilt, tiltSpeed * kStepsPerSecond, *start);
}

void CameraModel::home(const Bytes&)
{
    if (!takeMove()) return;
    const auto start = takeSocket(Motion::PanTilt);
    if (!start) return;
    m_pan.moveTo(0, kMaxPanSpeed * kStepsPerSecond, *start);
    m_tilt.moveTo(0, kMaxTiltSpeed * kStepsPerSecond, *start);
}

// Looks for its reference at the lower limits, then goes home.
void CameraModel::reset(const Bytes&)
{
    if (!takeMove()) return;
    const auto start = takeSocket(Motion::PanTilt);
    if (!start) return;
    m_pan.moveTo(kPanMin, kMaxPanSpeed * kStepsPerSecond, *start);
    m_pan.thenTo(0, kMaxPanSpeed * kStepsPerSecond);
    m_tilt.moveTo(kTiltMin, kMaxTiltSpeed * kStepsPerSecond, *start);
    m_tilt.thenTo(0, kMaxTiltSpeed * kStepsPerSecond);
}

void CameraModel::drivePanTilt(const Bytes& body)
{
    if (!takeMove()) return;
    const uint8_t pan = body[5], tilt = body[6];
    if (pan == kStay && tilt == kStay) return stop(Motion::PanTilt);
    if (!areSpeeds(body[3], body[4])) return refuse(1, visca::kNotExecutable);
    const auto start = takeSocket(Motion::PanTilt, Motion::None);
    if (!start) return;
    m_pan.stop(*start);
    m_tilt.stop(*start);
    if (pan != kStay)
        m_pan.moveTo(pan == kLeftOrUp ? kPanMin : kPanMax, body[3] * kStepsPerSecond, *start);
    if (tilt != kStay)
        m_tilt.moveTo(tilt == kLeftOrUp ? kTiltMax : kTiltMin, body[4] * kStepsPerSecond, *start);
}

void CameraModel::stop(Motion motion)
{
    stopAxes(motion);
    completeDue();
    takeSocket(motion, Motion::None);
}

void CameraModel::moveZoom(const Bytes& body)
{
    const int zoom = visca::decodeNibbles(body, 3);
    if (!takeMove()) return;
    if (zoom > kZoomMax) return refuse(1, visca::kNotExecutable);
    if (const auto start = takeSocket(Motion::Zoom))
        m_zoom.moveTo(zoom, kZoomStepsPerSecond, *start);
}

// 00 stops; 02 and 03 drive at half speed; 2p and 3p, p from 0 to 7, at (p + 1) / 8 of it.
void CameraModel::driveZoom(const Bytes& body)
{
    const uint8_t drive = body[3];
    const bool isStandard = drive == kTele || drive == kWide;
    const int direction = isStandard ? drive : drive >> 4;
    const int eighths = isStandard ? 4 : (drive & 0x0F) + 1;
    if (drive != 0 && ((direction != kTele && direction != kWide) || eighths > 8))
        return refuse(0, visca::kSyntaxError);
    if (!takeMove()) return;
    if (drive == 0) return stop(Motion::Zoom);
    if (const auto start = takeSocket(Motion::Zoom, Motion::None))
        m_zoom.moveTo(direction == kTele ? kZoomMax : 0, kZoomStepsPerSecond * eighths / 8, *start);
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
    tellPosition(data);
}

void CameraModel::tellZoom(const Bytes&)
{
    tellPosition(nibbles(reading(m_zoom)));
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

void CameraModel::tellFocus(const Bytes&)
{
    reply(visca::completion(0, nibbles(0x1000)));
}

void CameraModel::tellFocusMode(const Bytes&)
{
    reply(visca::completion(0, {kAutofocus}));
}

// Two bytes of bits, of which 13 and 12 say that it is initialised (10), 11 and 10 that it moves
// (01) or has arrived (10).
void CameraModel::tellPanTiltMode(const Bytes&)
{
    const bool isMoving = m_pan.isMoving(m_now) || m_tilt.isMoving(m_now);
    reply(visca::completion(0, {static_cast<uint8_t>(isMoving ? 0x24 : 0x28), 0x00}));
}

void CameraModel::tellMaxSpeed(const Bytes&)
{
    reply(visca::completion(0, {kMaxPanSpeed, kMaxTiltSpeed}));
}

}  // namespace rigsim
