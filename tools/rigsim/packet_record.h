#pragma once

#include <deque>
#include <vector>

#include "tools/rigsim/bytes.h"

namespace rigsim
{

/// The packets that a simulated device has received: how many, and the latest of them, so that a
/// rig that runs for days does not grow.
class PacketRecord
{
  public:
    static constexpr size_t kKept = 1000;

    void add(const Bytes& packet)
    {
        ++m_count;
        m_latest.push_back(packet);
        if (m_latest.size() > kKept) m_latest.pop_front();
    }

    int count() const { return m_count; }
    /// The last kKept, in order.
    std::vector<Bytes> latest() const { return {m_latest.begin(), m_latest.end()}; }

  private:
    std::deque<Bytes> m_latest;
    int m_count = 0;
};

}  // namespace rigsim
