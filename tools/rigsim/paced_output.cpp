#include "tools/rigsim/paced_output.h"

#include <algorithm>

namespace rigsim
{
namespace
{

constexpr int kBitsPerByte = 10;  // start bit, eight data bits, stop bit
constexpr size_t kMostItems = 100;
constexpr Duration kSplitGap = quill::milliseconds(10);

}  // namespace

PacedOutput::PacedOutput(const Faults& faults, const std::string& device, unsigned bitRate)
    : m_isSilent(faults.has(device + ".silent")),
      m_echoes(faults.has(device + ".echo")),
      m_splits(faults.has(device + ".split")),
      m_delay(faults.span(device + ".slow").value_or(Duration())),
      m_noise(faults.count(device + ".noise").value_or(0)),
      m_cut(faults.count(device + ".cut"))
{
    setBitRate(bitRate);
}

void PacedOutput::setBitRate(unsigned bitRate)
{
    m_bitRate = bitRate;
    m_byteTime = quill::seconds(kBitsPerByte) / bitRate;
}

void PacedOutput::send(const Bytes& packet, Time ready)
{
    if (m_isSilent) return;
    ++m_packets;
    m_items.emplace(ready + m_delay, Item{damaged(packet), m_byteTime, m_bitRate});
}

void PacedOutput::hear(const Bytes& bytes, Time at)
{
    if (!m_echoes || m_isSilent || bytes.empty()) return;
    // It comes back while it is sent.
    m_items.emplace(at, Item{bytes, Duration(), 0});
}

Bytes PacedOutput::damaged(const Bytes& packet)
{
    Bytes bytes = packet;
    if (m_cut && (*m_cut == 0 || *m_cut == m_packets)) bytes.resize((packet.size() + 1) / 2);
    for (int64_t i = 0; i < m_noise; ++i)
        bytes.insert(bytes.begin(), static_cast<uint8_t>(m_random() & 0xFF));
    return bytes;
}

size_t PacedOutput::chunkOf(const Item& item) const
{
    return m_splits ? 1 : item.bytes.size() - item.sent;
}

Time PacedOutput::dueOf(Time ready, const Item& item) const
{
    const Time start = std::max(ready, m_lineFree) + (m_splits ? kSplitGap : Duration());
    return start + item.byteTime * static_cast<int64_t>(chunkOf(item));
}

std::optional<Time> PacedOutput::nextDue() const
{
    if (m_items.empty()) return std::nullopt;
    return dueOf(m_items.begin()->first, m_items.begin()->second);
}

Time PacedOutput::readyAt(Time ready) const
{
    return m_items.size() < kMostItems ? ready : std::max(ready, *nextDue());
}

std::vector<Output> PacedOutput::take(Time now)
{
    std::vector<Output> outputs;
    for (auto due = nextDue(); due && *due <= now; due = nextDue()) {
        Item& item = m_items.begin()->second;
        const auto begin = item.bytes.begin() + static_cast<ptrdiff_t>(item.sent);
        const size_t size = chunkOf(item);
        outputs.push_back({*due, Bytes(begin, begin + static_cast<ptrdiff_t>(size)), item.bitRate});
        m_lineFree = *due;
        item.sent += size;
        if (item.sent == item.bytes.size()) m_items.erase(m_items.begin());
    }
    return outputs;
}

}  // namespace rigsim
