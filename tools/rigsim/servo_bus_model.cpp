#include "tools/rigsim/servo_bus_model.h"

#include <algorithm>
#include <utility>

namespace rigsim
{

namespace dxl = quill::dynamixel;

namespace
{

constexpr unsigned kFirstBitRate = 57143;  // until a program sets one

// A servo forgets the beginning of a packet when nothing follows for that long.
constexpr Duration kLongestGap = quill::milliseconds(100);

// It answers earlier than a servo as the maker delivers it.
ServoSetup twinOf(ServoSetup setup)
{
    setup.returnDelay = 100;
    setup.cwLimit = static_cast<uint16_t>(setup.cwLimit + 29);
    return setup;
}

}  // namespace

std::vector<ServoSetup> defaultServos()
{
    ServoSetup pan, tilt, other;
    tilt.id = 2;
    tilt.friction = 4;
    other.id = 7;
    other.baudNumber = 16;
    other.cwLimit = 100;
    other.ccwLimit = 900;
    return {pan, tilt, other};
}

ServoBusModel::ServoBusModel(const std::vector<ServoSetup>& servos, const Faults& faults)
    : m_faults(faults),
      m_output(faults, "servos", kFirstBitRate),
      m_cable(faults, "servos"),
      m_bitRate(kFirstBitRate)
{
    for (const ServoSetup& setup : servos) {
        m_servos.emplace_back(setup, faults);
        if (faults.count("servos.twin") == setup.id) m_servos.emplace_back(twinOf(setup), faults);
    }
    if (const auto span = faults.span("servos.no-power")) m_powerLoss = Time() + *span;
}

bool ServoBusModel::receive(const Bytes& bytes, unsigned bitRate, Time now)
{
    advance(now);
    if (bitRate == 0) return false;
    if (bitRate != m_bitRate || now > m_lineFree + kLongestGap) m_begun.clear();
    m_bitRate = bitRate;
    m_output.setBitRate(bitRate);
    for (const uint8_t byte : bytes) {
        m_lineFree = std::max(m_lineFree, now) + m_output.byteTime();
        if (auto packet = push(byte)) m_inbox.push_back({m_lineFree, bitRate, std::move(*packet)});
    }
    m_output.hear(bytes, m_lineFree);
    return std::any_of(m_servos.begin(), m_servos.end(),
                       [&](const ServoModel& servo) { return servo.listensAt(bitRate); });
}

std::optional<Time> ServoBusModel::nextEvent() const
{
    auto next = earlier(earlier(m_output.nextDue(), m_cable.pullTime()), m_powerLoss);
    if (!m_inbox.empty()) next = earlier(next, m_inbox.front().at);
    for (const ServoModel& servo : m_servos)
        if (servo.arrival() > m_now) next = earlier(next, servo.arrival());
    return next;
}

std::vector<Output> ServoBusModel::takeOutput(Time now)
{
    advance(now);
    return m_output.take(m_cable.lastMoment(now));
}

std::vector<ServoState> ServoBusModel::states(Time now) const
{
    std::vector<ServoState> states;
    for (const ServoModel& servo : m_servos) {
        states.push_back(servo.state(now));
        states.back().isPlugged = !isUnplugged(now);
    }
    return states;
}

// @return a whole packet, its checksum right or wrong
std::optional<Bytes> ServoBusModel::push(uint8_t byte)
{
    m_begun.push_back(byte);
    dxl::InstructionPacket ignored;
    while (m_begun.size() <= dxl::kHeaderBytes &&
           dxl::parse(m_begun, &ignored) == dxl::ParseResult::Broken)
        m_begun.erase(m_begun.begin());  // noise before the header
    if (m_begun.size() <= dxl::kHeaderBytes) return std::nullopt;
    if (m_begun.size() < dxl::kHeaderBytes + m_begun[3]) return std::nullopt;
    return std::exchange(m_begun, {});
}

// Arrivals and the loss of power in the order of their times.
void ServoBusModel::advance(Time now)
{
    for (;;) {
        const auto mail = m_inbox.empty() ? std::nullopt : std::make_optional(m_inbox.front().at);
        const auto next = earlier(m_powerLoss, mail);
        if (!next || *next > now) break;
        m_now = std::max(m_now, *next);
        if (next == m_powerLoss) {
            losePower();
        } else {
            deliver(m_inbox.front());
            m_inbox.pop_front();
        }
    }
    m_now = std::max(m_now, now);
}

void ServoBusModel::losePower()
{
    m_powerLoss.reset();
    m_hasPower = false;
    for (ServoModel& servo : m_servos) servo.losePower(m_now);
}

void ServoBusModel::deliver(const Arrival& arrival)
{
    if (!m_hasPower) return;
    const Bytes& packet = arrival.packet;
    dxl::InstructionPacket request{packet[2], packet[4], {}};
    const bool isWhole = dxl::parse(packet, &request) == dxl::ParseResult::Complete;
    bool isHeard = false;
    for (ServoModel& servo : m_servos) {
        if (!servo.listensAt(arrival.bitRate)) continue;
        isHeard = true;
        if (request.id == servo.id() || request.id == dxl::kBroadcastId)
            give(&servo, request, isWhole);
    }
    if (isHeard) m_packets.add(packet);
}

void ServoBusModel::give(ServoModel* servo, const dxl::InstructionPacket& request, bool isWhole)
{
    const Duration delay = servo->returnDelay();
    const int moves = servo->moves();
    const auto status = isWhole ? servo->handle(request, m_now) : servo->handleDamaged(request);
    if (servo->moves() != moves) m_cable.orderTaken(m_now);
    if (status) answer(*status, delay);
}

void ServoBusModel::answer(const dxl::StatusPacket& status, Duration delay)
{
    ++m_answers;
    const auto dropEvery = m_faults.count("servos.drop");
    if (dropEvery && m_answers % *dropEvery == 0) return;
    Bytes packet = dxl::encode(status);
    const auto wrongEvery = m_faults.count("servos.wrong-checksum");
    if (wrongEvery && m_answers % *wrongEvery == 0) packet.back() ^= 1;
    const auto lateness = m_faults.span("servos.late-answer");
    if (lateness && m_answers == 1) delay = delay + *lateness;
    m_output.send(packet, m_now + delay);
}

}  // namespace rigsim
