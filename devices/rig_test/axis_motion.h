#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "common/time.h"
#include "rig_guard.h"
#include "test_report.h"

namespace quill::app
{

/// How one axis is tested.
struct AxisTraits
{
    DeviceName device;
    std::string name;  ///< "pan"; empty where the device has one axis only
    std::string unit;  ///< of its positions: "steps"
    int tolerance;     ///< up to which a position counts as reached
    Duration timeout;  ///< of a move, the order included
};

/// One axis of the rig. Positions are in the axis's own units.
class Axis
{
  public:
    enum class Answer {
        Taken,
        Refused,  ///< it stays where it is
        None,     ///< whether it has taken the order is not known
    };

    explicit Axis(AxisTraits traits) : m_traits(std::move(traits)) {}
    virtual ~Axis() = default;

    const AxisTraits& traits() const { return m_traits; }

    /// Orders a move; does not wait for the motion.
    virtual Answer order(int goal, Duration timeout) = 0;

    /// Where it is now; nothing when it does not answer.
    virtual std::optional<int> position() = 0;

    /// Whether its line is gone: no later operation can succeed.
    virtual bool isLost() const = 0;

    /// Back from a move: puts back what the move changed beside the position, and reports it when
    /// that fails.
    virtual void release(TestReport&) {}

  private:
    AxisTraits m_traits;
};

/// An axis that is on its way: when this goes, the axis has been ordered back and waited for; what
/// fails is in the guard's report.
class Excursion
{
  public:
    Excursion(Axis& axis, int home, RigGuard& guard);
    ~Excursion();
    Excursion(const Excursion&) = delete;
    Excursion& operator=(const Excursion&) = delete;

    /// Moves to the first of `goals` that the axis does not refuse.
    bool moveOut(const std::vector<int>& goals);

    /// Orders the axis home, again and again unless the order is taken, and waits for it.
    void goBack(Duration timeout);

  private:
    void begin(const std::string& verb, const std::string& where);
    Axis::Answer order(int goal, Time deadline);
    bool awaitArrival(int goal, Time deadline);
    bool tryReturn(Time deadline);
    bool failToReach(int goal, Duration timeout);

    Axis& m_axis;
    int m_home;
    RigGuard& m_guard;
    std::optional<int> m_position;  ///< the last reading
};

/// Waits until the axis rests: two readings in a row that differ by one unit at most.
/// @return where; nothing, reported, when it does not
std::optional<int> awaitRest(Axis& axis, TestReport& report);

/// Moves the axis to the first goal that it does not refuse, and back home.
/// @return whether all is well in the guard's report
bool moveThereAndBack(Axis& axis, int home, const std::vector<int>& goals, RigGuard& guard);

}  // namespace quill::app
