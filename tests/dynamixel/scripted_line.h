#pragma once

#include <functional>
#include <string>
#include <vector>

#include "common/time.h"
#include "devices/dynamixel/dxl_codec.h"

/// A serial line in the place of SerialPort, with servos that follow a script; on the fake clock,
/// so that time passes only by what is waited for. Every path opens.
namespace support
{

using quill::dynamixel::Bytes;

/// What comes back for one request: pieces in the order of their arrival.
struct Piece
{
    Bytes bytes;
    quill::Duration after = quill::milliseconds(1);  ///< the piece before it, or the request
};
using Answer = std::vector<Piece>;

/// A piece at which the adapter is unplugged.
const Piece kUnplugged = {{}, quill::milliseconds(1)};

struct ScriptedLine
{
    std::vector<Answer> script = {};       ///< an entry for each request
    Answer usual = {};                     ///< when the script is at its end
    quill::Duration adapterDelay = {};     ///< that the port tells of
    std::function<void()> onRequest = {};  ///< may be empty
    quill::Duration writeTakes = {};       ///< on a busy machine
    size_t requests = 0;
};

/// The line of the test; assign to it before anything is opened.
ScriptedLine& line();

}  // namespace support
