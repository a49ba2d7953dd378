#pragma once

#include <deque>

#include "tools/rigsim/cable.h"
#include "tools/rigsim/paced_output.h"
#include "tools/rigsim/packet_record.h"
#include "tools/rigsim/servo_model.h"

namespace rigsim
{

/// Pan (ID 1) and tilt (ID 2) at baud number 34 and, for a scan to find, ID 7 at baud number 16.
std::vector<ServoSetup> defaultServos();

/// Servos on one half-duplex line (Dynamixel protocol 1.0), each at its own bit rate. Answers leave
/// after the bytes of the request and the servo's return delay, at the bit rate of the line. Servos
/// with the same ID answer one after the other.
class ServoBusModel : public SerialModel
{
  public:
    explicit ServoBusModel(const std::vector<ServoSetup>& servos = defaultServos(),
                           const Faults& faults = {});

    bool receive(const Bytes& bytes, unsigned bitRate, Time now) override;
    Time readyAt() const override { return m_output.readyAt(roomAt(m_lineFree)); }
    std::optional<Time> nextEvent() const override;
    std::vector<Output> takeOutput(Time now) override;
    bool isReceiving() const override { return !m_inbox.empty(); }
    bool isUnplugged(Time now) const override { return m_cable.isPulled(now); }

    /// One entry a servo, in the order of the setup; a twin follows the one whose ID it has.
    std::vector<ServoState> states(Time now) const;
    /// The requests that a servo has listened to, damaged ones too, in order, the last 1000 at
    /// most.
    std::vector<Bytes> packets() const { return m_packets.latest(); }

  private:
    struct Arrival
    {
        Time at;
        unsigned bitRate;
        Bytes packet;
    };

    std::optional<Bytes> push(uint8_t byte);
    void advance(Time now);
    void losePower();
    void deliver(const Arrival& arrival);
    void give(ServoModel* servo, const quill::dynamixel::InstructionPacket& request, bool isWhole);
    void answer(const quill::dynamixel::StatusPacket& status, Duration delay);

    Faults m_faults;
    PacedOutput m_output;
    Cable m_cable;
    std::vector<ServoModel> m_servos;
    std::optional<Time> m_powerLoss;  // nothing once it has come
    bool m_hasPower = true;
    unsigned m_bitRate;
    Bytes m_begun;  // of a packet
    std::deque<Arrival> m_inbox;
    PacketRecord m_packets;
    Time m_now, m_lineFree;
    int m_answers = 0;
};

}  // namespace rigsim
