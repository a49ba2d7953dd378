#include "tools/rigsim/servo_table.h"

#include <algorithm>
#include <stdexcept>
#include <string>

#include "devices/dynamixel/dxl_codec.h"

namespace rigsim
{

namespace dxl = quill::dynamixel;

struct ServoTable::Field
{
    size_t address;
    dxl::Width width;
    int factory;
    int lowest, highest;  // that a write may bring; of a read-only register: nothing
};

namespace
{

constexpr size_t kFirstRamAddress = 24;

// Registers of the MX series that the codec does not name.
constexpr size_t kGainD = 26, kGainI = 27, kGainP = 28, kGoalAcceleration = 73;

}  // namespace

const std::vector<ServoTable::Field>& ServoTable::fields()
{
    constexpr auto b = dxl::kByte, w = dxl::kWord;
    static const std::vector<Field> table = {
        {dxl::kModelNumber, w, 29, 0, -1},
        {dxl::kFirmwareVersion, b, 36, 0, -1},
        {dxl::kId, b, 1, 0, dxl::kLastServoId},
        {dxl::kBaudNumber, b, 34, 0, 252},
        {dxl::kReturnDelay, b, 250, 0, 254},
        {dxl::kCwAngleLimit, w, 0, 0, 4095},
        {dxl::kCcwAngleLimit, w, 4095, 0, 4095},
        {dxl::kHighestTemperature, b, 80, 0, 99},
        {dxl::kLowestVoltage, b, 60, 50, 250},
        {dxl::kHighestVoltage, b, 160, 50, 250},
        {dxl::kMaxTorque, w, 1023, 0, 1023},
        {dxl::kStatusReturnLevel, b, dxl::kAnswersAll, 0, dxl::kAnswersAll},
        {dxl::kAlarmLed, b, 36, 0, 127},
        {dxl::kShutdown, b, 36, 0, 127},
        {dxl::kTorqueEnable, b, 0, 0, 1},
        {dxl::kLed, b, 0, 0, 1},
        {kGainD, b, 0, 0, 254},
        {kGainI, b, 0, 0, 254},
        {kGainP, b, 32, 0, 254},
        {dxl::kGoalPosition, w, 0, 0, 0xFFFF},  // the angle limits say what is taken
        {dxl::kMovingSpeed, w, 0, 0, 1023},
        {dxl::kTorqueLimit, w, 1023, 0, 1023},
        {dxl::kPresentPosition, w, 0, 0, -1},
        {dxl::kPresentSpeed, w, 0, 0, -1},
        {dxl::kPresentLoad, w, 0, 0, -1},
        {dxl::kPresentVoltage, b, 120, 0, -1},
        {dxl::kPresentTemperature, b, 35, 0, -1},
        {dxl::kRegistered, b, 0, 0, -1},
        {dxl::kMoving, b, 0, 0, -1},
        {dxl::kLock, b, 0, 0, 1},
        {dxl::kPunch, w, 0, 0, 1023},
        {kGoalAcceleration, b, 0, 0, 254},
    };
    return table;
}

ServoTable::ServoTable()
{
    for (const Field& field : fields()) set(static_cast<int>(field.address), field.factory);
}

const ServoTable::Field& ServoTable::fieldFrom(int address)
{
    for (const Field& field : fields())
        if (field.address == static_cast<size_t>(address)) return field;
    throw std::logic_error("no register begins at address " + std::to_string(address));
}

int ServoTable::value(int address) const
{
    return valueOf(fieldFrom(address));
}

int ServoTable::valueOf(const Field& field) const
{
    const auto begin = m_bytes.begin() + field.address;
    return dxl::decodeValue(Bytes(begin, begin + field.width));
}

void ServoTable::set(int address, int value)
{
    const Bytes bytes = dxl::encodeValue(value, fieldFrom(address).width);
    std::copy(bytes.begin(), bytes.end(), m_bytes.begin() + address);
}

std::optional<Bytes> ServoTable::read(size_t address, size_t count) const
{
    if (count == 0 || address + count > kSize) return std::nullopt;
    const auto begin = m_bytes.begin() + address;
    return Bytes(begin, begin + count);
}

uint8_t ServoTable::check(size_t address, const Bytes& bytes) const
{
    const size_t end = address + bytes.size();
    if (bytes.empty() || end > kSize) return dxl::kRangeError;
    if (address < kFirstRamAddress && value(dxl::kLock) != 0) return dxl::kRangeError;

    ServoTable after = *this;
    std::copy(bytes.begin(), bytes.end(), after.m_bytes.begin() + address);
    size_t reserved = bytes.size();
    for (const Field& field : fields()) {
        const size_t first = std::max(address, field.address);
        const size_t last = std::min(end, field.address + field.width);
        if (first >= last) continue;
        reserved -= last - first;
        const int value = after.valueOf(field);
        if (value < field.lowest || value > field.highest) return dxl::kRangeError;
    }
    if (reserved > 0) return dxl::kRangeError;
    if (touchesWord(address, bytes.size(), dxl::kGoalPosition) && !after.isGoalWithinLimits())
        return dxl::kAngleLimitError;
    return 0;
}

bool ServoTable::isGoalWithinLimits() const
{
    const int goal = value(dxl::kGoalPosition);
    return goal >= value(dxl::kCwAngleLimit) && goal <= value(dxl::kCcwAngleLimit);
}

uint8_t ServoTable::write(size_t address, const Bytes& bytes)
{
    const uint8_t error = check(address, bytes);
    if (error == 0) std::copy(bytes.begin(), bytes.end(), m_bytes.begin() + address);
    return error;
}

void ServoTable::resetEeprom()
{
    const ServoTable factory;
    std::copy_n(factory.m_bytes.begin(), kFirstRamAddress, m_bytes.begin());
}

bool touchesWord(size_t address, size_t count, int registerAddress)
{
    const auto first = static_cast<size_t>(registerAddress);
    return address < first + dxl::kWord && first < address + count;
}

}  // namespace rigsim
