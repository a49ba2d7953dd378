#include "tools/rigsim/cable.h"

namespace rigsim
{

Cable::Cable(const Faults& faults, const std::string& device, const std::string& onOrder)
    : m_pullAfterOrder(faults.span(device + "." + onOrder))
{
    if (const auto span = faults.span(device + ".unplug")) m_pullTime = Time() + *span;
}

void Cable::orderTaken(Time now)
{
    if (m_pullAfterOrder) m_pullTime = earlier(m_pullTime, now + *m_pullAfterOrder);
}

}  // namespace rigsim
