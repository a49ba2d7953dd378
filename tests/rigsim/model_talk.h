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

inline rigsim::Bytes bytes(const std::string& hex)
{
    rigsim::Bytes result;
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

/// Says the packets at their times. @return what comes back within 10 s, as "time: hex, time: hex"
inline std::string talk(rigsim::SerialModel* model, unsigned bitRate, rigsim::Duration unit,
                        const std::vector<Send>& sends)
{
    std::vector<std::string> answers;
    const auto listen = [&](rigsim::Time until) {
        for (const rigsim::Output& output : model->takeOutput(until))
            answers.push_back(fmt::format(
                "{}: {:02X}", (output.at - rigsim::Time()).nanoseconds() / unit.nanoseconds(),
                fmt::join(output.bytes, " ")));
    };
    for (const Send& send : sends) {
        const rigsim::Time at = rigsim::Time() + unit * send.at;
        listen(at);
        model->receive(bytes(send.hex), bitRate, at);
    }
    listen(rigsim::Time() + quill::seconds(10));
    return fmt::format("{}", fmt::join(answers, ", "));
}

}  // namespace model_talk
