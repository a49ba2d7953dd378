#pragma once

#include <deque>

#include "tools/rigsim/cable.h"
#include "tools/rigsim/packet_record.h"
#include "tools/rigsim/serial_model.h"

namespace rigsim
{

struct LaserState
{
    bool isOn = false;  ///< never without the cable, which is its power too
    bool isPlugged = true;
    int packets = 0;     ///< received, whether taken or not
    int rejected = 0;    ///< of these: wrong checksum, other channel, neither on nor off
    int switches = 0;    ///< how often it went on or off
    int switchedOn = 0;  ///< how often it went on
};

/// A laser behind a serial relay of one channel (LCUS-1 class): four bytes A0, channel 01, 00 off
/// or 01 on, and the low byte of their sum. It never answers. After a packet that it rejects it
/// looks for the next A0, also inside that packet.
class LaserModel : public SerialModel
{
  public:
    static constexpr unsigned kBitRate = 9600;

    explicit LaserModel(const Faults& faults = {});

    bool receive(const Bytes& bytes, unsigned bitRate, Time now) override;
    Time readyAt() const override { return roomAt(m_lineFree); }
    std::optional<Time> nextEvent() const override;
    std::vector<Output> takeOutput(Time now) override;
    bool isReceiving() const override { return !m_inbox.empty(); }
    bool isUnplugged(Time now) const override { return m_cable.isPulled(now); }

    LaserState state(Time now) const;
    /// The packets received, rejected ones too, in order, the last 1000 at most.
    std::vector<Bytes> packets() const { return m_packets.latest(); }

  private:
    struct Arrival
    {
        Time at;
        uint8_t byte;
    };

    void take(const Arrival& arrival);
    void obey(const Bytes& packet, Time now);

    bool m_isStuck;
    Cable m_cable;
    Time m_lineFree;
    std::deque<Arrival> m_inbox;
    Bytes m_begun;  // of a packet
    PacketRecord m_packets;
    bool m_isOn = false;
    int m_rejected = 0, m_switches = 0, m_switchedOn = 0;
};

}  // namespace rigsim
