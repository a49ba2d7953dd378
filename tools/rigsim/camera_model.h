#pragma once

#include <array>
#include <deque>

#include "devices/visca/visca_codec.h"
#include "tools/rigsim/axis.h"
#include "tools/rigsim/cable.h"
#include "tools/rigsim/faults.h"
#include "tools/rigsim/paced_output.h"
#include "tools/rigsim/packet_record.h"
#include "tools/rigsim/serial_model.h"

namespace rigsim
{

struct CameraState
{
    int pan = 0, tilt = 0, zoom = 0;              ///< where the axes are, camera steps
    int panGoal = 0, tiltGoal = 0, zoomGoal = 0;  ///< where they were sent
    bool isMoving = false;
    bool isOn = true;  ///< false in standby
    bool isPlugged = true;
    int packets = 0;   ///< received, whether understood or not
    int replies = 0;   ///< sent, acknowledgements and completions counted apart
    int moves = 0;     ///< orders taken: absolute, home, reset, stop and zoom
    int refusals = 0;  ///< error replies
};

/// A pan-tilt-zoom camera at VISCA address 1: address set, interface clear, power, version, two
/// command sockets with acknowledgement at once and completion when the motion ends (of drives,
/// when it begins), cancel, and inquiries at any time of a motion (camera maker's VISCA command
/// lists).
class CameraModel : public SerialModel
{
  public:
    static constexpr int kPanMin = -2267, kPanMax = 2267;
    static constexpr int kTiltMin = -400, kTiltMax = 1200;
    static constexpr int kZoomMax = 0x4000;
    static constexpr int kMaxPanSpeed = 0x18, kMaxTiltSpeed = 0x14;
    static constexpr double kStepsPerSecond = 50;  ///< of pan and tilt, per unit of ordered speed
    static constexpr double kZoomStepsPerSecond = 8192;
    static constexpr unsigned kFastBitRate = 38400;  ///< the other one that it can be set to

    explicit CameraModel(const Faults& faults = {});

    bool receive(const Bytes& bytes, unsigned bitRate, Time now) override;
    Time readyAt() const override { return m_output.readyAt(roomAt(m_lineFree)); }
    std::optional<Time> nextEvent() const override;
    std::vector<Output> takeOutput(Time now) override;
    bool isReceiving() const override { return !m_inbox.empty(); }
    bool isUnplugged(Time now) const override { return m_cable.isPulled(now); }

    CameraState state(Time now) const;
    /// The packets received, in order, the last 1000 at most.
    std::vector<Bytes> packets() const { return m_packets.latest(); }

  private:
    enum class Motion { None, PanTilt, Zoom };
    struct Socket
    {
        bool isBusy = false;
        Motion motion = Motion::None;
        Time start;                   // when the command was acknowledged
        std::optional<Time> refusal;  // when the camera gives it up
    };
    struct Arrival
    {
        Time at;
        Bytes packet;
    };
    struct Command;
    static const std::vector<Command>& commands();

    void advance(Time now);
    void handle(const Bytes& packet);
    void handleBroadcast(const Bytes& packet);
    void setAddress();

    // Commands and inquiries; `body` is the packet without header and terminator.
    void movePanTilt(const Bytes& body);
    void home(const Bytes& body);
    void reset(const Bytes& body);
    void movePanTiltBy(const Bytes& body);
    void drivePanTilt(const Bytes& body);
    void moveZoom(const Bytes& body);
    void driveZoom(const Bytes& body);
    void setPower(const Bytes& body);
    void cancel(const Bytes& body);
    void clear(const Bytes& body);
    void tellPanTilt(const Bytes& body);
    void tellZoom(const Bytes& body);
    void tellPower(const Bytes& body);
    void tellVersion(const Bytes& body);
    void tellFocus(const Bytes& body);
    void tellFocusMode(const Bytes& body);
    void tellPanTiltMode(const Bytes& body);
    void tellMaxSpeed(const Bytes& body);

    /// Counts an order to move, and refuses it where the camera does not move now.
    /// @return whether it is to be carried out
    bool takeMove();
    std::optional<Time> takeSocket(Motion motion, Motion until);
    std::optional<Time> takeSocket(Motion motion) { return takeSocket(motion, motion); }
    void startPanTilt(int panSpeed, int tiltSpeed, int pan, int tilt);
    void stop(Motion motion);
    Time acknowledgeTime();
    Time endOf(const Socket& socket) const;
    std::optional<Time> nextCompletion() const;
    void completeDue();
    void stopAxes(Motion motion);
    int numberOf(const Socket& socket) const;
    int shown(const Axis& axis, Time at) const;
    int reading(const Axis& axis);
    void tellPosition(Bytes data);

    void sendStale();
    void sendLeftovers();
    void reply(Bytes packet, Time at);
    void reply(const Bytes& packet) { reply(packet, m_now); }
    void refuse(int socket, uint8_t error);

    Faults m_faults;
    unsigned m_bitRate;
    PacedOutput m_output;
    Cable m_cable;
    quill::visca::PacketReader m_reader;
    std::deque<Arrival> m_inbox;
    PacketRecord m_packets;
    Time m_now, m_lineFree;
    Time m_repliesFrom;  // nothing is answered before
    Axis m_pan, m_tilt, m_zoom;
    std::array<Socket, 2> m_sockets;
    bool m_isOn;
    bool m_hasAcknowledged = false;
    int64_t m_ordersSeen = 0, m_positionsTold = 0;
    int m_readings = 0, m_moves = 0, m_refusals = 0;
};

}  // namespace rigsim
