#pragma once

#include <map>
#include <optional>
#include <random>
#include <string>

#include "tools/rigsim/faults.h"
#include "tools/rigsim/serial_model.h"

namespace rigsim
{

/// What leaves a simulated device: packets at the pace of the line (10 bits a byte), damaged as the
/// device's line faults say: silent, slow, noise, echo, split, cut.
class PacedOutput
{
  public:
    /// @param device  whose faults apply: the part of their names before the point
    PacedOutput(const Faults& faults, const std::string& device, unsigned bitRate);

    Duration byteTime() const { return m_byteTime; }
    /// For what is sent and received from now on.
    /// @param bitRate  in bit/s, more than 0
    void setBitRate(unsigned bitRate);

    /// A packet that the device begins to send at `ready`, or when the line is free.
    void send(const Bytes& packet, Time ready);
    /// What the device has received by `at`: comes back where the line echoes.
    void hear(const Bytes& bytes, Time at);

    std::optional<Time> nextDue() const;
    /// From when on, after `ready`, there is room for more: it may be ordered to send faster than
    /// the line can carry.
    Time readyAt(Time ready) const;
    std::vector<Output> take(Time now);
    int packets() const { return m_packets; }

  private:
    struct Item
    {
        Bytes bytes;
        Duration byteTime;  // 0: takes no time of the line
        unsigned bitRate;   // 0: as the program's
        size_t sent = 0;
    };

    Time dueOf(Time ready, const Item& item) const;
    size_t chunkOf(const Item& item) const;
    Bytes damaged(const Bytes& packet);

    unsigned m_bitRate = 0;
    Duration m_byteTime;
    bool m_isSilent, m_echoes, m_splits;
    Duration m_delay;
    int64_t m_noise;               // bytes before every packet
    std::optional<int64_t> m_cut;  // 0 = every packet
    std::mt19937 m_random;         // fixed seed: every run sees the same noise
    std::multimap<Time, Item> m_items;
    Time m_lineFree;
    int m_packets = 0;
};

}  // namespace rigsim
