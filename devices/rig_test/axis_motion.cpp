#include "axis_motion.h"

#include <cstdlib>
#include <sstream>

#include "common/interrupt.h"

namespace quill::app
{
namespace
{

/// An axis that two readings this far apart find at its goal has stopped there: a motion crosses
/// the tolerance within one.
constexpr Duration kPollInterval = milliseconds(100);

constexpr Duration kRestTimeout = seconds(3);

constexpr const char* kLost = "a lost connection";

std::string text(Duration span)
{
    std::ostringstream out;
    out << span.seconds() << " s";
    return out.str();
}

std::string text(const std::optional<int>& position)
{
    return position ? std::to_string(*position) : "no answer";
}

std::string stepText(const std::string& verb, const AxisTraits& traits, const std::string& where)
{
    return verb + (traits.name.empty() ? "" : " " + traits.name) + " " + where;
}

/// An interrupt waits until the exchange is over: the clean-up goes on with the same line.
std::optional<int> read(Axis& axis)
{
    const InterruptDelay wholeExchange;
    return axis.position();
}

}  // namespace

Excursion::Excursion(Axis& axis, int home, RigGuard& guard)
    : m_axis(axis), m_home(home), m_guard(guard)
{
    m_guard.setUnderWay(this);
}

Excursion::~Excursion()
{
    m_guard.report().watch([this] { goBack(m_axis.traits().timeout); });
    m_guard.setUnderWay(nullptr);
}

bool Excursion::moveOut(const std::vector<int>& goals)
{
    const AxisTraits& traits = m_axis.traits();
    const Time deadline = Time::now() + traits.timeout;
    Axis::Answer answer = Axis::Answer::Refused;
    for (const int goal : goals) {
        begin("move", "by " + std::to_string(goal - m_home) + " " + traits.unit);
        answer = order(goal, deadline);
        if (answer == Axis::Answer::Refused) continue;
        if (answer == Axis::Answer::None) break;
        return awaitArrival(goal, deadline) || failToReach(goal, traits.timeout);
    }
    const char* came = "no answer";
    if (answer == Axis::Answer::Refused)
        came = goals.size() > 1 ? "a refusal both ways" : "a refusal";
    return m_guard.report().fail("the order to be taken", m_axis.isLost() ? kLost : came);
}

void Excursion::goBack(Duration timeout)
{
    begin("return", "to " + std::to_string(m_home));
    const Time deadline = Time::now() + timeout;
    bool isBack = tryReturn(deadline);
    while (!isBack && !m_axis.isLost() && Time::now() < deadline) {
        sleep(kPollInterval);
        isBack = tryReturn(deadline);
    }
    if (!isBack) failToReach(m_home, timeout);
    if (m_axis.isLost()) return;
    const InterruptDelay wholeExchange;
    m_axis.release(m_guard.report());
}

bool Excursion::tryReturn(Time deadline)
{
    switch (order(m_home, deadline)) {
        case Axis::Answer::Taken: return awaitArrival(m_home, deadline);
        case Axis::Answer::Refused: return awaitArrival(m_home, Time::now());  // never left?
        case Axis::Answer::None: break;
    }
    m_position = read(m_axis);
    return false;
}

void Excursion::begin(const std::string& verb, const std::string& where)
{
    const AxisTraits& traits = m_axis.traits();
    m_guard.report().begin(traits.device, stepText(verb, traits, where));
}

Axis::Answer Excursion::order(int goal, Time deadline)
{
    const InterruptDelay wholeExchange;
    return m_axis.order(goal, deadline - Time::now());
}

bool Excursion::awaitArrival(int goal, Time deadline)
{
    for (int readingsThere = 0;;) {
        m_position = read(m_axis);
        const bool isThere =
            m_position && std::abs(*m_position - goal) <= m_axis.traits().tolerance;
        readingsThere = isThere ? readingsThere + 1 : 0;
        if (readingsThere == 2) return true;
        if (m_axis.isLost() || (!isThere && Time::now() >= deadline)) return false;
        sleep(kPollInterval);
    }
}

bool Excursion::failToReach(int goal, Duration timeout)
{
    const std::string expected =
        "position " + std::to_string(goal) + " within " + std::to_string(m_axis.traits().tolerance);
    if (m_axis.isLost()) return m_guard.report().fail(expected, kLost);
    return m_guard.report().fail(expected, text(m_position) + " after " + text(timeout));
}

std::optional<int> awaitRest(Axis& axis, TestReport& report)
{
    report.begin(axis.traits().device, stepText("read", axis.traits(), "position at rest"));
    const Time deadline = Time::now() + kRestTimeout;
    for (std::optional<int> before;;) {
        const auto position = axis.position();
        if (position && before && std::abs(*position - *before) <= 1) return position;
        if (axis.isLost() || Time::now() >= deadline) {
            report.fail("two equal positions in a row",
                        axis.isLost() ? kLost : text(position) + " after " + text(kRestTimeout));
            return std::nullopt;
        }
        before = position;
        sleep(kPollInterval);
    }
}

bool moveThereAndBack(Axis& axis, int home, const std::vector<int>& goals, RigGuard& guard)
{
    {
        Excursion excursion(axis, home, guard);
        guard.report().watch([&] { excursion.moveOut(goals); });
    }
    return !guard.report().hasFailed();
}

}  // namespace quill::app
