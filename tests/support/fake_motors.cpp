#include "support/fake_motors.h"

#include "devices/dynamixel/dynamixel_interface.h"

support::FakeMotors support::fakeMotors;

namespace
{

using support::fakeMotors;

class FakeMotor final : public quill::DynamixelMotor
{
  public:
    explicit FakeMotor(int id) : m_id(id) {}

    bool setGoalPosition(int position) override
    {
        note("goal " + std::to_string(position));
        m_goal = position;
        return true;
    }
    int getPresentPosition() override
    {
        note("position");
        return fakeMotors.position(m_id, m_goal);
    }
    bool waitNotMoving(const quill::Duration& timeout) override
    {
        note("wait " + std::to_string(timeout.nanoseconds() / 1000000) + " ms");
        return fakeMotors.stops(m_id);
    }
    int getRealID() const override
    {
        note("id");
        return fakeMotors.realId(m_id);
    }
    int getID() const override { return m_id; }
    int getCWAngleLimit() const override
    {
        note("cw");
        return fakeMotors.cwLimit[index()];
    }
    int getCCWAngleLimit() const override
    {
        note("ccw");
        return fakeMotors.ccwLimit[index()];
    }

  private:
    size_t index() const { return static_cast<size_t>(m_id - 1); }
    void note(const std::string& call) const
    {
        fakeMotors.calls.push_back(std::to_string(m_id) + " " + call);
    }

    int m_id;
    int m_goal = 0;
};

class FakeInterface final : public quill::DynamixelInterface
{
  public:
    ~FakeInterface() override { fakeMotors.calls.push_back("close"); }
    std::shared_ptr<quill::DynamixelMotor> getMotor(int id) override
    {
        return std::make_shared<FakeMotor>(id);
    }
    bool isLineLost() const override { return fakeMotors.isLineLost(); }
};

}  // namespace

std::shared_ptr<quill::DynamixelInterface> quill::DynamixelInterface::open(
    const std::string& device, int baudnum, const std::shared_ptr<RecursiveMutex>& lock)
{
    fakeMotors.calls.push_back("open " + device + " " + std::to_string(baudnum) +
                               (lock ? " locked" : ""));
    if (!fakeMotors.openError.empty()) throw DynamixelError(fakeMotors.openError);
    return std::make_shared<FakeInterface>();
}
