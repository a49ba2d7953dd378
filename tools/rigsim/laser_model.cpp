#include "tools/rigsim/laser_model.h"

#include <algorithm>

namespace rigsim
{
namespace
{

constexpr Duration kByteTime = quill::seconds(10) / LaserModel::kBitRate;  // 10 bits a byte
constexpr uint8_t kStart = 0xA0;
constexpr uint8_t kChannel = 1;
constexpr uint8_t kOn = 1;
constexpr size_t kPacketBytes = 4;

bool isOrder(const Bytes& packet)
{
    const auto sum = static_cast<uint8_t>(packet[0] + packet[1] + packet[2]);
    return packet[1] == kChannel && packet[2] <= kOn && packet[3] == sum;
}

}  // namespace

LaserModel::LaserModel(const Faults& faults)
    : m_isStuck(faults.has("laser.stuck")), m_cable(faults, "laser", "unplug-on-switch")
{}

bool LaserModel::receive(const Bytes& bytes, unsigned bitRate, Time now)
{
    takeOutput(now);
    if (bitRate != kBitRate) return false;
    for (const uint8_t byte : bytes) {
        m_lineFree = std::max(m_lineFree, now) + kByteTime;
        m_inbox.push_back({m_lineFree, byte});
    }
    return true;
}

std::optional<Time> LaserModel::nextEvent() const
{
    const auto mail = m_inbox.empty() ? std::nullopt : std::make_optional(m_inbox.front().at);
    return earlier(mail, m_cable.pullTime());
}

std::vector<Output> LaserModel::takeOutput(Time now)
{
    while (!m_inbox.empty() && m_inbox.front().at <= m_cable.lastMoment(now)) {
        take(m_inbox.front());
        m_inbox.pop_front();
    }
    return {};
}

LaserState LaserModel::state(Time now) const
{
    LaserState state;
    state.isPlugged = !isUnplugged(now);
    state.isOn = m_isOn && state.isPlugged;
    state.packets = m_packets.count();
    state.rejected = m_rejected;
    state.switches = m_switches;
    state.switchedOn = m_switchedOn;
    return state;
}

void LaserModel::take(const Arrival& arrival)
{
    m_begun.push_back(arrival.byte);
    if (m_begun.size() == kPacketBytes) {
        m_packets.add(m_begun);
        if (isOrder(m_begun)) {
            obey(m_begun, arrival.at);
            m_begun.clear();
            return;
        }
        ++m_rejected;
        m_begun.erase(m_begun.begin());
    }
    m_begun.erase(m_begun.begin(), std::find(m_begun.begin(), m_begun.end(), kStart));
}

void LaserModel::obey(const Bytes& packet, Time now)
{
    const bool isOn = packet[2] == kOn;
    if (m_isStuck || isOn == m_isOn) return;
    m_isOn = isOn;
    ++m_switches;
    if (isOn) ++m_switchedOn;
    m_cable.orderTaken(now);
}

}  // namespace rigsim
