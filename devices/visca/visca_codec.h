#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// Packets of the VISCA protocol over RS-232 (camera maker's VISCA command lists): bytes to meaning
/// and back. Pure: no device, clock or log. Used by the camera library and by the simulated camera.
namespace quill::visca
{

using Bytes = std::vector<uint8_t>;

constexpr int kBitRate = 9600;
constexpr int kFastBitRate = 38400;  ///< the other one that a camera can be set to

/// Ends a packet and never stands inside one.
constexpr uint8_t kTerminator = 0xFF;
constexpr size_t kMinPacketBytes = 3;
constexpr size_t kMaxPacketBytes = 16;

/// Headers are 0x80 | sender << 4 | receiver; the controller is 0, the first camera 1.
constexpr uint8_t kToCamera = 0x81;
constexpr uint8_t kBroadcast = 0x88;
constexpr uint8_t kFromCamera = 0x90;

/// Cuts the bytes of a line into packets at the terminators, of which it looks at as many bytes as
/// the longest packet has: noise before a packet stays out, or in front, and costs no packet.
class PacketReader
{
  public:
    /// @return the packet, terminator included, that this byte ended. Runs of bytes that are too
    /// short are dropped, of longer ones the last kMaxPacketBytes count.
    std::optional<Bytes> push(uint8_t byte);
    /// Whether bytes have come since the last terminator.
    bool isInPacket() const { return !m_bytes.empty(); }
    void reset() { m_bytes.clear(); }

  private:
    Bytes m_bytes;
};

// Packets of the controller. Those with a value are empty when it does not fit its field: such a
// packet is never sent.

constexpr int kMaxPanSpeed = 0x18;
constexpr int kMaxTiltSpeed = 0x17;

Bytes addressSet();      ///< AddressSet, broadcast: 88 30 01 FF
Bytes interfaceClear();  ///< IF_Clear, broadcast: 88 01 00 01 FF
Bytes panTiltReset();    ///< Pan-tiltDrive Reset: 81 01 06 05 FF
Bytes panTiltInquiry();  ///< Pan-tiltPosInq: 81 09 06 12 FF
Bytes zoomInquiry();     ///< CAM_ZoomPosInq: 81 09 04 47 FF
Bytes powerInquiry();    ///< CAM_PowerInq: 81 09 04 00 FF
Bytes versionInquiry();  ///< CAM_VersionInq: 81 09 00 02 FF
Bytes power(bool on);    ///< CAM_Power: 81 01 04 00 02 FF on, 03 standby

/// Pan-tiltDrive AbsolutePosition: 81 01 06 02 VV WW 0p 0p 0p 0p 0t 0t 0t 0t FF.
/// @param panSpeed, tiltSpeed  the camera's scale, 1..kMaxPanSpeed and 1..kMaxTiltSpeed
/// @param pan, tilt            camera steps, 16 bits signed
std::optional<Bytes> panTiltAbsolute(int panSpeed, int tiltSpeed, int pan, int tilt);

/// CAM_Zoom Direct: 81 01 04 47 0z 0z 0z 0z FF.
/// @param zoom  camera steps, 16 bits unsigned
std::optional<Bytes> zoomDirect(int zoom);

// Replies of the camera.

enum class ReplyKind {
    Acknowledge,     ///< z0 4y FF: command taken into socket y
    Completion,      ///< z0 5y ... FF: command in socket y done, or (socket 0) answer to an inquiry
    Error,           ///< z0 6y ee FF
    NetworkChange,   ///< z0 38 FF: a camera was switched on or plugged in
    AddressSet,      ///< 88 30 0w FF: w is one above the last camera's address
    InterfaceClear,  ///< 88 01 00 01 FF
};

struct Reply
{
    ReplyKind kind = ReplyKind::NetworkChange;
    int socket = 0;       ///< of Acknowledge, Completion and Error; 0 where the camera names none
    uint8_t error = 0;    ///< of Error: ErrorCode or another value
    int nextAddress = 0;  ///< of AddressSet
    Bytes data;           ///< of Completion: the bytes between the socket and the terminator
};

enum ErrorCode : uint8_t {
    kMessageLength = 0x01,
    kSyntaxError = 0x02,
    kBufferFull = 0x03,
    kCancelled = 0x04,
    kNoSocket = 0x05,
    kNotExecutable = 0x41,
};

/// @return the error in the operator's words, for example "not executable: target out of range, or
/// the camera is in standby".
std::string errorText(uint8_t error);

/// What a packet read from the line says: the last place in it that reads as a reply, since noise
/// comes before and no reply that we ask for holds another. Replies of any camera address count,
/// since some cameras answer with another one.
/// @return nothing when the packet is no reply: noise, or the echo of a packet of ours.
std::optional<Reply> parseReply(const Bytes& packet);

// Data of inquiry replies, and the same the other way round for the simulated camera.

constexpr size_t kPanTiltDataBytes = 8;  ///< 0p 0p 0p 0p 0t 0t 0t 0t
constexpr size_t kZoomDataBytes = 4;     ///< 0z 0z 0z 0z

constexpr size_t kPowerDataBytes = 1;    ///< PowerState
constexpr size_t kVersionDataBytes = 7;  ///< vendor, model, ROM revision, 16 bits each; sockets

enum PowerState : uint8_t { kPowerOn = 0x02, kStandby = 0x03 };

/// What the data of a version inquiry's reply say; the numbers are the vendor's own.
struct Version
{
    uint16_t vendor = 0, model = 0, romRevision = 0;
    int sockets = 0;  ///< orders that the camera can have under way
};

/// @param data  kVersionDataBytes
Version decodeVersion(const Bytes& data);

/// Four nibbles, high one first, as they stand in a packet.
Bytes encodeNibbles(uint16_t value);
/// @param data  at least offset + 4 nibbles
uint16_t decodeNibbles(const Bytes& data, size_t offset);

/// Whether it answers an inquiry: socket 0, data of this length.
bool isInquiryAnswer(const Reply& reply, size_t dataBytes);

/// Whether it answers a position inquiry: socket 0, data of this length, all of them nibbles.
bool isPosition(const Reply& reply, size_t dataBytes);

Bytes acknowledge(int socket);                         ///< 90 4y FF
Bytes completion(int socket, const Bytes& data = {});  ///< 90 5y ... FF
Bytes errorReply(int socket, uint8_t error);           ///< 90 6y ee FF
Bytes networkChange();                                 ///< 90 38 FF
Bytes addressSetReply(int nextAddress);                ///< 88 30 0w FF

}  // namespace quill::visca
