#pragma once

#include <optional>
#include <random>

#include "devices/dynamixel/dxl_codec.h"
#include "tools/rigsim/axis.h"
#include "tools/rigsim/faults.h"
#include "tools/rigsim/servo_table.h"

namespace rigsim
{

/// A servo as it is at power-up; the units are those of the registers.
struct ServoSetup
{
    uint8_t id = 1;
    uint8_t baudNumber = 34;
    uint16_t cwLimit = 0, ccwLimit = 4095;
    uint8_t returnDelay = 250;
    uint8_t statusReturnLevel = 2;
    uint8_t friction = 3;  ///< units that a long move ends short of its goal, 0 = never
};

struct ServoState
{
    int id = 0;          ///< in its register, as the next ones
    int baudNumber = 0;  ///< 0..252
    int position = 0;    ///< where it is, units of 360 degrees / 4096
    int goal = 0;
    bool isMoving = false;
    bool torque = false;
    int reads = 0;          ///< read requests
    int writes = 0;         ///< writes taken, synchronous and registered ones too
    int moves = 0;          ///< goals taken
    int errors = 0;         ///< requests refused, damaged ones too
    bool isPlugged = true;  ///< the cable of the whole bus
};

/// One MX-28 servo (Dynamixel protocol 1.0), without the line: request in, status packet out. It
/// begins in the middle of its angle limits and is a joint: limits that are both 0 (wheel mode) or
/// both 4095 (multi-turn mode) only leave it that one goal. A goal that is taken switches torque
/// on; torque switched on by itself holds the servo where it stands.
class ServoModel
{
  public:
    static constexpr double kUnitsPerTurn = 4096;
    static constexpr double kRpmPerSpeedUnit = 0.114;  ///< of registers 32 and 38
    static constexpr double kFullSpeedRpm = 55;

    /// @throw std::invalid_argument  a register does not take a value of the setup
    ServoModel(const ServoSetup& setup, const Faults& faults);

    int id() const { return m_table.value(quill::dynamixel::kId); }
    /// Whether it takes what is sent at this bit rate (bit/s): up to 3 % beside its own.
    bool listensAt(unsigned bitRate) const;
    /// How long it waits before it answers.
    Duration returnDelay() const;

    /// A request that has arrived, for its ID or for all servos. @return what it answers, if it
    /// does
    std::optional<quill::dynamixel::StatusPacket> handle(
        const quill::dynamixel::InstructionPacket& request, Time now);
    /// One with a wrong checksum.
    std::optional<quill::dynamixel::StatusPacket> handleDamaged(
        const quill::dynamixel::InstructionPacket& request);

    /// It stops where it is.
    void losePower(Time now);

    /// When its present motion ends, or ended.
    Time arrival() const { return m_axis.arrival(); }
    int moves() const { return m_moves; }
    ServoState state(Time now) const;

  private:
    using Request = quill::dynamixel::InstructionPacket;

    bool answers(const Request& request) const;
    uint8_t execute(const Request& request, Time now, Bytes* answer);
    uint8_t read(const Bytes& parameters, Time now, Bytes* answer);
    uint8_t write(const Bytes& parameters, Time now);
    uint8_t registerWrite(const Bytes& parameters);
    uint8_t act(Time now);
    uint8_t syncWrite(const Bytes& parameters, Time now);

    bool isShutDown() const;
    void setTorque(bool isOn, Time now);
    void approachGoal(Time now);
    int shortfall(int distance);
    double unitsPerSecond() const;

    bool hasTorque() const { return m_table.value(quill::dynamixel::kTorqueEnable) != 0; }
    bool isMoving(Time now) const;
    bool isStrained(Time now) const;
    void measure(Time now);

    int m_friction;
    bool m_isStuck, m_isJammed, m_isLost, m_hasWrongId;
    uint8_t m_alarms = 0;  // error bits of every status
    std::mt19937 m_random;
    ServoTable m_table;
    Axis m_axis;
    std::optional<Bytes> m_registered;  // parameters of the write that waits for an action
    int m_reads = 0, m_writes = 0, m_moves = 0, m_errors = 0;
};

}  // namespace rigsim
