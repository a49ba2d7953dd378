#include "tools/rigsim/cable.h"

namespace rigsim
{

Cable::Cable(const Faults& faults, const std::string& device)
    : m_pullAfterMove(faults.span(device + ".unplug-on-move"))
{
    if (const auto span = faults.span(device + ".unplug")) m_pullTime = Time() + *span;
}

void Cable::moveBegins(Time now)
{
    if (m_pullAfterMove) m_pullTime = earlier(m_pullTime, now + *m_pullAfterMove);
}

}  // namespace rigsim
