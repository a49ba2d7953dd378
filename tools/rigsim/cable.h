#pragma once

#include <optional>
#include <string>

#include "tools/rigsim/faults.h"
#include "tools/rigsim/serial_model.h"

namespace rigsim
{

/// The cable of a serial device, pulled as the device's faults unplug and unplug-on-... say.
class Cable
{
  public:
    /// @param device   whose faults apply: the part of their names before the point
    /// @param onOrder  the fault that pulls it some time after an order, without the device
    Cable(const Faults& faults, const std::string& device,
          const std::string& onOrder = "unplug-on-move");

    /// The device has taken an order to move, or whatever `onOrder` is about.
    void orderTaken(Time now);

    std::optional<Time> pullTime() const { return m_pullTime; }
    bool isPulled(Time now) const { return m_pullTime && now >= *m_pullTime; }
    /// Up to when bytes have passed by `now`.
    Time lastMoment(Time now) const { return isPulled(now) ? *m_pullTime : now; }

  private:
    std::optional<Time> m_pullTime;
    std::optional<Duration> m_pullAfterOrder;
};

}  // namespace rigsim
