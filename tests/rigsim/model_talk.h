#pragma once

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <sstream>
#include <string>
#include <vector>

#include "tools/rigsim/serial_model.h"

/// Talks to a simulated device on a given clock.
namespace model_talk
{

using rigsim::Bytes;
using rigsim::Duration;
using rigsim::Time;
using Lines = std::vector<std::string>;

inline Bytes bytes(const std::string& hex)
{
    Bytes result;
    std::istringstream in(hex);
    for (unsigned byte = 0; in >> std::hex >> byte;) result.push_back(static_cast<uint8_t>(byte));
    return result;
}

/// Something to say at a time, in units of the conversation.
struct Send
{
    int64_t at;
    std::string hex;
};

/// A conversation at a bit rate, with the unit its times are in.
struct Talk
{
    unsigned bitRate;
    Duration unit;

    Time at(int64_t time) const { return Time() + unit * time; }

    /// Says the packets at their times and writes down what comes back until `end`, as "time: hex".
    Lines operator()(rigsim::SerialModel* model, const std::vector<Send>& sends, int64_t end) const
    {
        Lines lines;
        const auto listen = [&](Time until) {
            for (const rigsim::Output& output : model->takeOutput(until))
                lines.push_back(fmt::format("{}: {:02X}",
                                            (output.at - Time()).nanoseconds() / unit.nanoseconds(),
                                            fmt::join(output.bytes, " ")));
        };
        for (const Send& send : sends) {
            listen(at(send.at));
            model->receive(bytes(send.hex), bitRate, at(send.at));
        }
        listen(at(end));
        return lines;
    }
};

}  // namespace model_talk
