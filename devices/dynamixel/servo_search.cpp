#include "devices/dynamixel/servo_search.h"

#include <algorithm>
#include <set>

#include "devices/dynamixel/dxl_codec.h"
#include "devices/dynamixel/dxl_device.h"
#include "devices/serial/device_line.h"

namespace quill::dynamixel
{
namespace
{

constexpr int64_t kBitsPerByte = 10;

/// The first answers must have begun by then, and one must follow the other as soon.
constexpr Duration kBetweenAnswers = milliseconds(20);
/// Of a line on which something else talks without end.
constexpr Duration kLongest = milliseconds(250);
constexpr Duration kLongestSend = milliseconds(100);

std::optional<Error> readIds(DeviceLine& line, Duration wait, std::set<int>* ids)
{
    StatusReader reader(0);
    const Time end = line.deadlineIn(kLongest);
    for (Time until = line.deadlineIn(wait);;) {
        uint8_t buffer[64];
        size_t got = 0;
        const auto error = line.readSome(buffer, sizeof buffer, &got, std::min(until, end));
        if (error && error->kind == ErrorKind::Silence) return std::nullopt;
        if (error) return error;
        reader.push(buffer, got);
        while (const auto packet = reader.next())
            if (packet->id <= kLastServoId) ids->insert(packet->id);  // an echo is to all
        until = line.deadlineIn(wait);
    }
}

std::optional<Error> pingAll(const std::string& device, int baudNumber, std::set<int>* ids)
{
    const auto bitRate = bitRateOf(baudNumber);
    if (!bitRate)
        return Error{device, "set baud number " + std::to_string(baudNumber), 0,
                     "it gives no bit rate", "0..3999999 do; a servo's register 4 holds 0..254"};
    DeviceLine line;
    if (auto error = line.open(device, *bitRate)) return error;
    line.setLowLatency();
    line.discardInput();
    const Bytes ping = encode(InstructionPacket{kBroadcastId, kPing, {}});
    if (auto error = line.write(ping.data(), ping.size(), line.deadlineIn(kLongestSend)))
        return error;
    // The ping goes, an answer comes.
    const Duration onLine =
        seconds(kBitsPerByte * 2 * static_cast<int64_t>(packetBytes(0))) / *bitRate;
    return readIds(line, onLine + kBetweenAnswers + line.roundTripAllowance(), ids);
}

}  // namespace

std::optional<Error> searchServos(const std::string& device, int baudNumber,
                                  std::vector<FoundServo>* found)
{
    std::set<int> ids = {1, 2};
    if (auto error = pingAll(device, baudNumber, &ids)) return error;
    DxlDevice bus;
    bus.setSilenceExpected(true);
    if (bus.dxl_initialize(device, baudNumber) == 0)
        return Error{device, "open again", 0, "another program has taken it", "end that program"};
    for (const int id : ids) {
        if (bus.dxl_read_byte(id, kId) != id) continue;
        found->push_back({id, baudNumber, bus.dxl_read_word(id, kModelNumber)});
    }
    return std::nullopt;
}

}  // namespace quill::dynamixel
