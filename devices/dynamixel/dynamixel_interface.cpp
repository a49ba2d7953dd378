#include "devices/dynamixel/dynamixel_interface.h"

#include "dxl_bus.h"

namespace quill
{
namespace
{

using dynamixel::DxlBus;

/// Between two looks at the moving register. Two of them reading 0 mean stopped: a servo sets the
/// register within this time of taking a goal.
constexpr Duration kPollInterval = milliseconds(10);

class BusMotor final : public DynamixelMotor
{
  public:
    BusMotor(std::shared_ptr<DxlBus> bus, int id) : m_bus(std::move(bus)), m_id(id) {}

    bool setGoalPosition(int position) override
    {
        return m_bus->write(m_id, dynamixel::kGoalPosition, position, dynamixel::kWord);
    }

    int getPresentPosition() override { return readWord(dynamixel::kPresentPosition); }

    bool waitNotMoving(const Duration& timeout) override
    {
        const Time deadline = Time::now() + timeout;
        for (int stoppedReadings = 0;;) {
            const int moving = m_bus->read(m_id, dynamixel::kMoving, dynamixel::kByte);
            stoppedReadings = moving == 0 ? stoppedReadings + 1 : 0;
            if (stoppedReadings == 2) return true;
            if (m_bus->isLineLost()) return false;
            if (stoppedReadings == 0 && Time::now() >= deadline) return false;
            sleep(kPollInterval);
        }
    }

    int getRealID() const override { return m_bus->read(m_id, dynamixel::kId, dynamixel::kByte); }

    int getID() const override { return m_id; }
    int getCWAngleLimit() const override { return readWord(dynamixel::kCwAngleLimit); }
    int getCCWAngleLimit() const override { return readWord(dynamixel::kCcwAngleLimit); }

  private:
    int readWord(int address) const { return m_bus->read(m_id, address, dynamixel::kWord); }

    std::shared_ptr<DxlBus> m_bus;
    int m_id;
};

class SerialInterface final : public DynamixelInterface
{
  public:
    explicit SerialInterface(std::shared_ptr<DxlBus> bus) : m_bus(std::move(bus)) {}

    std::shared_ptr<DynamixelMotor> getMotor(int id) override
    {
        return std::make_shared<BusMotor>(m_bus, id);
    }

    bool isLineLost() const override { return m_bus->isLineLost(); }

  private:
    std::shared_ptr<DxlBus> m_bus;
};

}  // namespace

std::shared_ptr<DynamixelInterface> DynamixelInterface::open(
    const std::string& device, int baudnum, const std::shared_ptr<RecursiveMutex>& lock)
{
    auto bus = std::make_shared<DxlBus>(DeviceLine(), lock);
    if (const auto error = bus->open(device, baudnum)) throw DynamixelError(error->text());
    return std::make_shared<SerialInterface>(std::move(bus));
}

}  // namespace quill
