#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "common/time.h"

/// A line whose other end follows a script; on the fake clock, so that time passes only by what is
/// waited for. Every path opens.
namespace support
{

using Bytes = std::vector<uint8_t>;

/// What comes back for one request: pieces in the order of their arrival.
struct Piece
{
    Bytes bytes;
    quill::Duration after = quill::milliseconds(1);  ///< the piece before it, or the request
};
using Answer = std::vector<Piece>;

/// A piece at which the adapter is unplugged.
const Piece kUnplugged = {{}, quill::milliseconds(1)};

struct LineScript
{
    std::vector<Answer> script = {};       ///< an entry for each request
    Answer usual = {};                     ///< when the script is at its end
    quill::Duration latency = {};          ///< that the line tells of
    std::function<void()> onRequest = {};  ///< may be empty
    quill::Duration writeTakes = {};       ///< on a busy machine
    size_t requests = 0;
    std::vector<Bytes> sent = {};  ///< a packet, or several written together, for each request
    int bitRate = 0;               ///< set last
};

/// The script of the test; assign to it before anything is opened. Every DeviceLine follows it from
/// the first call on.
LineScript& line();

}  // namespace support
