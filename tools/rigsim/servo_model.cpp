#include "tools/rigsim/servo_model.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <stdexcept>

namespace rigsim
{

namespace dxl = quill::dynamixel;

namespace
{

constexpr double kClosestBitRates = 0.03;
constexpr Duration kReturnDelayUnit = quill::microseconds(2);

constexpr int kDirectionBit = 1 << 10;  // of present speed and load: towards lower positions
constexpr int kLoadInMotion = 80;
constexpr int kTooHot_C = 85;

int middleOf(const ServoSetup& setup)
{
    return (setup.cwLimit + setup.ccwLimit + 1) / 2;
}

// An MX servo's three fastest rates do not follow from their numbers.
double bitRateOf(int baudNumber)
{
    switch (baudNumber) {
        case 250: return 2250000;
        case 251: return 2500000;
        case 252: return 3000000;
        default: return dxl::bitRateOf(baudNumber).value();
    }
}

Bytes after(const Bytes& bytes, size_t count)
{
    return Bytes(bytes.begin() + static_cast<ptrdiff_t>(count), bytes.end());
}

}  // namespace

ServoModel::ServoModel(const ServoSetup& setup, const Faults& faults)
    : m_friction(setup.friction), m_random(setup.id), m_axis(middleOf(setup))
{
    const auto has = [&](const char* name) { return faults.count(name) == setup.id; };
    m_isStuck = has("servos.stuck");
    m_isJammed = has("servos.jammed");
    m_isLost = has("servos.lost");
    m_hasWrongId = has("servos.wrong-id");
    if (has("servos.overload")) m_alarms |= dxl::kOverloadError;
    if (has("servos.overheating")) m_alarms |= dxl::kOverheatingError;

    const auto delay = faults.count("servos.return-delay").value_or(setup.returnDelay);
    const auto level = faults.count("servos.status-level").value_or(setup.statusReturnLevel);
    const auto set = [&](int address, int64_t value, dxl::Width width) {
        const Bytes bytes = dxl::encodeValue(static_cast<int>(value), width);
        if (m_table.write(static_cast<size_t>(address), bytes) != 0)
            throw std::invalid_argument("a servo does not take " + std::to_string(value) +
                                        " at address " + std::to_string(address));
    };
    set(dxl::kId, setup.id, dxl::kByte);
    set(dxl::kBaudNumber, setup.baudNumber, dxl::kByte);
    set(dxl::kReturnDelay, delay, dxl::kByte);
    set(dxl::kCwAngleLimit, setup.cwLimit, dxl::kWord);
    set(dxl::kCcwAngleLimit, setup.ccwLimit, dxl::kWord);
    set(dxl::kStatusReturnLevel, level, dxl::kByte);
    set(dxl::kGoalPosition, middleOf(setup), dxl::kWord);
}

bool ServoModel::listensAt(unsigned bitRate) const
{
    const double own = bitRateOf(m_table.value(dxl::kBaudNumber));
    return !m_isLost && std::abs(bitRate - own) <= own * kClosestBitRates;
}

Duration ServoModel::returnDelay() const
{
    return kReturnDelayUnit * m_table.value(dxl::kReturnDelay);
}

std::optional<dxl::StatusPacket> ServoModel::handle(const Request& request, Time now)
{
    // What a write changes holds after its status packet.
    const auto ownId = static_cast<uint8_t>(id());
    const bool isAnswered = answers(request);
    Bytes answer;
    const uint8_t error = execute(request, now, &answer);
    if (error != 0) ++m_errors;
    if (!isAnswered) return std::nullopt;
    return dxl::StatusPacket{ownId, static_cast<uint8_t>(error | m_alarms), answer};
}

std::optional<dxl::StatusPacket> ServoModel::handleDamaged(const Request& request)
{
    ++m_errors;
    if (!answers(request)) return std::nullopt;
    return dxl::StatusPacket{request.id, static_cast<uint8_t>(dxl::kChecksumError | m_alarms), {}};
}

void ServoModel::losePower(Time now)
{
    setTorque(false, now);
}

ServoState ServoModel::state(Time now) const
{
    ServoState state;
    state.id = id();
    state.baudNumber = m_table.value(dxl::kBaudNumber);
    state.position = m_axis.position(now);
    state.goal = m_table.value(dxl::kGoalPosition);
    state.isMoving = isMoving(now);
    state.torque = hasTorque();
    state.reads = m_reads;
    state.writes = m_writes;
    state.moves = m_moves;
    state.errors = m_errors;
    return state;
}

bool ServoModel::answers(const Request& request) const
{
    if (request.id == dxl::kBroadcastId) return request.instruction == dxl::kPing;
    const int level = m_table.value(dxl::kStatusReturnLevel);
    if (request.instruction == dxl::kPing) return true;
    return level >=
           (request.instruction == dxl::kRead ? dxl::kAnswersPingAndRead : dxl::kAnswersAll);
}

// @return error bits
uint8_t ServoModel::execute(const Request& request, Time now, Bytes* answer)
{
    switch (request.instruction) {
        case dxl::kPing: return 0;
        case dxl::kRead: return read(request.parameters, now, answer);
        case dxl::kWrite: return write(request.parameters, now);
        case dxl::kRegWrite: return registerWrite(request.parameters);
        case dxl::kAction: return act(now);
        case dxl::kFactoryReset: m_table.resetEeprom(); return 0;
        case dxl::kSyncWrite: return syncWrite(request.parameters, now);
        default: return dxl::kInstructionError;
    }
}

uint8_t ServoModel::read(const Bytes& parameters, Time now, Bytes* answer)
{
    if (parameters.size() != 2) return dxl::kInstructionError;
    ++m_reads;
    measure(now);
    auto bytes = m_table.read(parameters[0], parameters[1]);
    if (!bytes) return dxl::kRangeError;
    const int idAt = dxl::kId - parameters[0];
    if (m_hasWrongId && idAt >= 0 && idAt < parameters[1]) ++(*bytes)[static_cast<size_t>(idAt)];
    *answer = *bytes;
    return 0;
}

uint8_t ServoModel::write(const Bytes& parameters, Time now)
{
    if (parameters.size() < 2) return dxl::kInstructionError;
    const size_t address = parameters[0];
    const Bytes bytes = after(parameters, 1);
    const bool hadTorque = hasTorque();
    if (const uint8_t error = m_table.write(address, bytes)) return error;

    ++m_writes;
    if (touchesWord(address, bytes.size(), dxl::kGoalPosition))
        approachGoal(now);
    else if (hasTorque() != hadTorque)
        setTorque(hasTorque(), now);
    else if (touchesWord(address, bytes.size(), dxl::kMovingSpeed) && m_axis.isMoving(now))
        m_axis.moveTo(m_axis.goal(), unitsPerSecond(), now);
    return 0;
}

uint8_t ServoModel::registerWrite(const Bytes& parameters)
{
    if (parameters.size() < 2) return dxl::kInstructionError;
    if (const uint8_t error = m_table.check(parameters[0], after(parameters, 1))) return error;
    m_registered = parameters;
    return 0;
}

uint8_t ServoModel::act(Time now)
{
    if (!m_registered) return dxl::kInstructionError;
    const Bytes parameters = *m_registered;
    m_registered.reset();
    return write(parameters, now);
}

uint8_t ServoModel::syncWrite(const Bytes& parameters, Time now)
{
    if (parameters.size() < 2) return dxl::kInstructionError;
    const size_t step = size_t{parameters[1]} + 1;  // the servo's ID stands before its bytes
    if ((parameters.size() - 2) % step != 0) return dxl::kInstructionError;
    for (size_t i = 2; i < parameters.size(); i += step) {
        if (parameters[i] != id()) continue;
        Bytes own = {parameters[0]};
        const auto begin = parameters.begin() + static_cast<ptrdiff_t>(i);
        own.insert(own.end(), begin + 1, begin + static_cast<ptrdiff_t>(step));
        return write(own, now);
    }
    return 0;
}

// With an alarm that the shutdown register names, torque stays off.
bool ServoModel::isShutDown() const
{
    return (m_alarms & m_table.value(dxl::kShutdown)) != 0;
}

void ServoModel::setTorque(bool isOn, Time now)
{
    m_table.set(dxl::kTorqueEnable, isOn && !isShutDown());
    if (hasTorque())
        m_table.set(dxl::kGoalPosition, m_axis.position(now));
    else
        m_axis.stop(now);
}

void ServoModel::approachGoal(Time now)
{
    ++m_moves;
    if (isShutDown()) return setTorque(false, now);
    m_table.set(dxl::kTorqueEnable, 1);
    if (m_isStuck) return;
    const int goal = m_table.value(dxl::kGoalPosition);
    const int start = m_axis.position(now);
    const int end = m_isJammed ? (start + goal) / 2 : goal - shortfall(goal - start);
    m_axis.moveTo(end, unitsPerSecond(), now);
}

// Friction ends a move of `distance` units short of its goal, in the direction of the motion, by
//
//     min(friction + r, |distance| / 8)     r = 0 or 1 at random, division to the integer below
//
// so that long moves (from 32 or 40 units on) miss by 3 or 4 units where friction is 3, by 4 or 5
// where it is 4, and a second approach over less than 16 units by one at most.
int ServoModel::shortfall(int distance)
{
    if (m_friction == 0) return 0;
    const int jitter = static_cast<int>(m_random() & 1);
    const int units = std::min(m_friction + jitter, std::abs(distance) / 8);
    return distance < 0 ? -units : units;
}

double ServoModel::unitsPerSecond() const
{
    const int speed = m_table.value(dxl::kMovingSpeed);
    const double rpm =
        speed == 0 ? kFullSpeedRpm : std::min(speed * kRpmPerSpeedUnit, kFullSpeedRpm);
    return rpm / 60 * kUnitsPerTurn;
}

bool ServoModel::isMoving(Time now) const
{
    return m_isStuck ? isStrained(now) : m_axis.isMoving(now);
}

// Whether something keeps it away from its goal.
bool ServoModel::isStrained(Time now) const
{
    if (!hasTorque() || m_axis.isMoving(now)) return false;
    return (m_isStuck || m_isJammed) && m_axis.position(now) != m_table.value(dxl::kGoalPosition);
}

// Brings the registers that tell the present state up to date.
void ServoModel::measure(Time now)
{
    const int position = m_axis.position(now);
    const bool isTurning = m_axis.isMoving(now);
    const bool isStrain = isStrained(now);
    const int direction = m_table.value(dxl::kGoalPosition) < position ? kDirectionBit : 0;
    const double speed = unitsPerSecond() * 60 / kUnitsPerTurn / kRpmPerSpeedUnit;
    const int load = isStrain ? m_table.value(dxl::kTorqueLimit) : isTurning ? kLoadInMotion : 0;

    m_table.set(dxl::kPresentPosition, position);
    m_table.set(dxl::kPresentSpeed,
                isTurning ? static_cast<int>(std::lround(speed)) | direction : 0);
    m_table.set(dxl::kPresentLoad, load > 0 ? load | direction : 0);
    if ((m_alarms & dxl::kOverheatingError) != 0) m_table.set(dxl::kPresentTemperature, kTooHot_C);
    m_table.set(dxl::kRegistered, m_registered.has_value());
    m_table.set(dxl::kMoving, isMoving(now));
}

}  // namespace rigsim
