#include "tools/rigsim/axis.h"

#include <algorithm>
#include <cmath>

namespace rigsim
{

Axis::Axis(int position) : m_legs{{Time(), double(position), Time(), double(position)}} {}

void Axis::moveTo(int goal, double stepsPerSecond, Time start)
{
    cut(start);
    const double from = m_legs.back().to;
    m_legs.push_back({start, from, start, from});  // rests there until `start`
    thenTo(goal, stepsPerSecond);
}

void Axis::thenTo(int goal, double stepsPerSecond)
{
    const Leg last = m_legs.back();
    const double travel_s = std::abs(goal - last.to) / stepsPerSecond;
    const Duration travel(static_cast<int64_t>(std::ceil(travel_s * 1e9)));
    m_legs.push_back({last.end, last.to, last.end + travel, static_cast<double>(goal)});
}

void Axis::stop(Time at)
{
    cut(at);
    // A motor stops on a whole step.
    Leg& last = m_legs.back();
    last.to = std::round(last.to);
}

int Axis::position(Time at) const
{
    const auto later = [at](const Leg& leg) { return leg.start <= at; };
    const auto leg = std::find_if(m_legs.rbegin(), m_legs.rend(), later);
    const Leg& found = leg == m_legs.rend() ? m_legs.front() : *leg;
    return static_cast<int>(std::lround(positionOn(found, at)));
}

int Axis::goal() const
{
    return static_cast<int>(std::lround(m_legs.back().to));
}

Time Axis::arrival() const
{
    return m_legs.back().end;
}

double Axis::positionOn(const Leg& leg, Time at)
{
    if (at <= leg.start) return leg.from;
    if (at >= leg.end) return leg.to;
    return leg.from +
           (leg.to - leg.from) * ((at - leg.start).seconds() / (leg.end - leg.start).seconds());
}

// Forgets everything from `at` on, and what was over long before it.
void Axis::cut(Time at)
{
    while (m_legs.size() > 1 && m_legs.back().start >= at) m_legs.pop_back();
    m_legs.erase(m_legs.begin(), m_legs.end() - 1);
    Leg& last = m_legs.back();
    if (last.end <= at) return;
    last.to = positionOn(last, at);
    last.end = at;
}

}  // namespace rigsim
