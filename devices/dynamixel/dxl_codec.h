#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// Packets of the Dynamixel protocol 1.0 (servo maker's e-manual): bytes to meaning and back. Pure:
/// no device, clock or log. Used by the servo library and by the simulated servos.
namespace quill::dynamixel
{

using Bytes = std::vector<uint8_t>;

constexpr int kLastServoId = 253;
constexpr int kBroadcastId = 254;  ///< heard by all servos; they answer a ping only, if at all
constexpr int kLastAddress = 255;

/// A packet is FF FF id length, instruction or error, parameters, checksum. The length counts what
/// follows it.
constexpr size_t kHeaderBytes = 4;
constexpr size_t kMaxParameters = 253;

/// Bytes on the wire of a packet with this many parameters.
constexpr size_t packetBytes(size_t parameters)
{
    return kHeaderBytes + 2 + parameters;
}

enum Instruction : uint8_t {
    kPing = 1,
    kRead = 2,      ///< address, count
    kWrite = 3,     ///< address, bytes
    kRegWrite = 4,  ///< as kWrite, but kept until kAction
    kAction = 5,
    kFactoryReset = 6,
    kSyncWrite = 0x83,  ///< address, bytes per servo, then for each servo its ID and bytes
};

/// Bits of a status packet's error byte.
enum ErrorBit : uint8_t {
    kInputVoltageError = 1 << 0,
    kAngleLimitError = 1 << 1,  ///< a goal outside the angle limits; not taken
    kOverheatingError = 1 << 2,
    kRangeError = 1 << 3,     ///< a parameter outside its range
    kChecksumError = 1 << 4,  ///< the servo got a damaged packet
    kOverloadError = 1 << 5,
    kInstructionError = 1 << 6,  ///< unknown instruction, or action without a registered write
};

/// Addresses in a servo's control table; words take two, low byte first. The first 24 bytes are
/// EEPROM.
enum Register : int {
    kModelNumber = 0,  ///< word
    kFirmwareVersion = 2,
    kId = 3,
    kBaudNumber = 4,
    kReturnDelay = 5,    ///< units of 2 us, 0..254
    kCwAngleLimit = 6,   ///< word
    kCcwAngleLimit = 8,  ///< word
    kHighestTemperature = 11,
    kLowestVoltage = 12,   ///< 0.1 V
    kHighestVoltage = 13,  ///< 0.1 V
    kMaxTorque = 14,       ///< word
    kStatusReturnLevel = 16,
    kAlarmLed = 17,
    kShutdown = 18,
    kTorqueEnable = 24,
    kLed = 25,
    kGoalPosition = 30,     ///< word
    kMovingSpeed = 32,      ///< word; 0 = full speed
    kTorqueLimit = 34,      ///< word
    kPresentPosition = 36,  ///< word
    kPresentSpeed = 38,     ///< word
    kPresentLoad = 40,      ///< word, bit 10 the direction
    kPresentVoltage = 42,   ///< 0.1 V
    kPresentTemperature = 43,
    kRegistered = 44,
    kMoving = 46,  ///< 0 when the servo has stopped
    kLock = 47,
    kPunch = 48,  ///< word
};

/// Which packets a servo answers with a status packet; the values of kStatusReturnLevel.
enum StatusReturn : uint8_t { kAnswersPing = 0, kAnswersPingAndRead = 1, kAnswersAll = 2 };

/// Number of bytes of a register.
enum Width : int { kByte = 1, kWord = 2 };

struct InstructionPacket
{
    uint8_t id = 0;  ///< 0..kBroadcastId
    uint8_t instruction = kPing;
    Bytes parameters;
};

struct StatusPacket
{
    uint8_t id = 0;     ///< 0..kLastServoId
    uint8_t error = 0;  ///< ErrorBits; 0 when all is well
    Bytes parameters;
};

/// Whether `status` is what an adapter that echoes makes of `request`: a valid packet with the
/// right ID, the instruction standing where the error byte would.
bool isEcho(const StatusPacket& status, const InstructionPacket& request);

/// The packets as on the wire; empty when there are more than kMaxParameters.
Bytes encode(const InstructionPacket& packet);
Bytes encode(const StatusPacket& packet);

/// Read request for a register. Nothing when the ID (0..253) or an address of the register (0..255)
/// is out of range: such a request is never sent.
std::optional<InstructionPacket> readRequest(int id, int address, Width width);

/// Write request. As readRequest(), but the ID may be kBroadcastId too and the value must fit.
std::optional<InstructionPacket> writeRequest(int id, int address, int value, Width width);

/// @param bytes  1 or 2, low byte first
int decodeValue(const Bytes& bytes);
Bytes encodeValue(int value, Width width);

enum class ParseResult {
    Complete,
    Incomplete,  ///< read on
    Broken,      ///< drop one byte and look again: noise may hide a good packet
};

/// Looks for a packet at the beginning of `in`; what follows it there does not matter.
/// @param packet  written when complete; its packetBytes() tell how much of `in` it took
ParseResult parse(const Bytes& in, InstructionPacket* packet);
ParseResult parse(const Bytes& in, StatusPacket* packet);

/// Picks the status packets out of what is read from the line.
class StatusReader
{
  public:
    /// @param maxParameters  a packet that claims more is noise; it would swallow what follows
    explicit StatusReader(size_t maxParameters) : m_maxParameters(maxParameters) {}

    void push(const uint8_t* bytes, size_t size);

    /// The next complete packet. What stands before it is dropped.
    std::optional<StatusPacket> next();

    /// Whether a packet has begun: header and ID are there.
    bool isInsidePacket() const { return m_bytes.size() > 2; }

    /// Number of bytes since reset() that belong to no packet so far.
    size_t leftoverBytes() const { return m_dropped + m_bytes.size(); }

    void reset();

  private:
    bool claimsTooMuch() const;

    size_t m_maxParameters;
    Bytes m_bytes;
    size_t m_dropped = 0;
};

/// @param bits  ErrorBits
/// @return the bits in words, for example "overheating, overload"; empty when none is set
std::string errorText(uint8_t bits);

/// Bit rate in bit/s of a baud number, the value n of a servo's register kBaudNumber: 2,000,000 /
/// (n + 1) to the nearest integer. An MX servo whose register holds 250, 251 or 252 runs at 2.25,
/// 2.5 or 3 Mbit/s instead; no number reaches it there.
/// @param baudNumber  0..3999999, of which a servo's register can hold 0..254
/// @return nothing when that is no rate: the number is negative, or the rate rounds to 0
std::optional<int> bitRateOf(int baudNumber);

}  // namespace quill::dynamixel
