#include "matrix_run.h"

#include <algorithm>
#include <fstream>
#include <sstream>

#include "support/process.h"

namespace matrix
{
namespace
{

namespace fs = std::filesystem;

/// Frames come in real time and no faster; only the tool's patience is shorter.
constexpr const char* kKinectClock =
    "LD_PRELOAD=" FAST_CLOCK ":" OWN_PICTURES ":$LD_PRELOAD FAST_CLOCK_SPEED=10";
constexpr int kKinectSpeed = 10;
/// All others share the rig's clock: they wait for nothing.
constexpr const char* kSharedClock = "LD_PRELOAD=" RIG_CLOCK ":$LD_PRELOAD";

/// What a run may take of real time: more than any does on the busiest machine.
constexpr const char* kLongestRun_s = "100";

constexpr uint8_t kViscaEnd = 0xFF;
constexpr size_t kServoLengthOffset = 3;
constexpr size_t kServoInstructionOffset = 4;
constexpr size_t kLaserOrderBytes = 4;

using Bytes = std::vector<uint8_t>;

std::string hex(const std::string& device, const Bytes& bytes)
{
    std::string text = device;
    char number[4];
    for (const uint8_t byte : bytes) {
        std::snprintf(number, sizeof number, " %02X", byte);
        text += number;
    }
    return text;
}

/// All that a device has received.
Bytes receivedBy(const std::string& device, const fs::path& trace)
{
    Bytes bytes;
    std::ifstream file(trace);
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line.substr(0, line.find('(')));
        std::string time, name, direction, byte;
        words >> time >> name >> direction;
        if (name != device || direction != "received") continue;
        while (words >> byte) bytes.push_back(static_cast<uint8_t>(std::stoi(byte, nullptr, 16)));
    }
    return bytes;
}

Bytes part(const Bytes& bytes, size_t from, size_t end)
{
    const auto begin = bytes.begin();
    return {begin + static_cast<ptrdiff_t>(from), begin + static_cast<ptrdiff_t>(end)};
}

// Packets that are cut off where the cable was pulled are no orders.

void addCameraOrders(const Bytes& bytes, std::set<std::string>* orders)
{
    static const std::set<std::string> conversation = {
        "camera 88 30 01 FF", "camera 88 01 00 01 FF", "camera 81 01 00 01 FF"};
    for (auto from = bytes.begin();;) {
        const auto end = std::find(from, bytes.end(), kViscaEnd);
        if (end == bytes.end()) return;
        const Bytes packet(from, end + 1);
        from = end + 1;
        const std::string text = hex("camera", packet);
        const bool isInquiry = packet.size() > 1 && packet[1] == 0x09;
        if (!isInquiry && conversation.count(text) == 0) orders->insert(text);
    }
}

void addServoOrders(const Bytes& bytes, std::set<std::string>* orders)
{
    for (size_t at = 0; at + kServoInstructionOffset < bytes.size();) {
        const size_t end = at + kServoLengthOffset + 1 + bytes[at + kServoLengthOffset];
        const uint8_t instruction = bytes[at + kServoInstructionOffset];
        const bool isQuestion = instruction == 0x01 || instruction == 0x02;
        if (end > bytes.size()) return;
        if (!isQuestion) orders->insert(hex("servos", part(bytes, at, end)));
        at = end;
    }
}

void addLaserOrders(const Bytes& bytes, std::set<std::string>* orders)
{
    for (size_t at = 0; at + kLaserOrderBytes <= bytes.size(); at += kLaserOrderBytes)
        orders->insert(hex("laser", part(bytes, at, at + kLaserOrderBytes)));
}

std::string contents(const fs::path& path)
{
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

std::vector<std::string> toolOf(const Command& command)
{
    std::vector<std::string> words = {RIGTOOL, "-t", "commands=" + command.text};
    if (!command.device.empty()) words.insert(words.end(), {"-t", "device=" + command.device});
    return words;
}

std::vector<std::string> rigOf(const Run& run)
{
    std::vector<std::string> words = {RIGSIM};
    if (!run.fault.empty()) words.insert(words.end(), {"--fault", run.fault});
    return words;
}

void readReport(const fs::path& path, Outcome* outcome)
{
    std::ifstream report(path);
    int time_ms = 0;
    if (!(report >> time_ms)) return;
    outcome->time_ms = time_ms;
    std::getline(report, outcome->leftOpen, '\0');
    outcome->leftOpen.erase(0, outcome->leftOpen.find_first_not_of('\n'));
}

}  // namespace

std::string describe(const Run& run)
{
    std::string text;
    for (const std::string& word : rigOf(run)) text += word + " ";
    text += "--";
    for (const std::string& word : toolOf(*run.command)) text += " '" + word + "'";
    if (run.interruptAt_ms > 0)
        text += "   # Ctrl-C after " + std::to_string(run.interruptAt_ms) + " ms";
    return text;
}

Outcome runOnRig(const Run& run, const fs::path& folder)
{
    const bool isKinect = run.command->isKinect();
    const fs::path trace = folder / "trace";
    const fs::path state = folder / "state";
    const fs::path report = folder / "report";
    std::vector<std::string> words = {"/usr/bin/timeout", "--kill-after=1", kLongestRun_s};
    const std::vector<std::string> rig = rigOf(run);
    words.insert(words.end(), rig.begin(), rig.end());
    words.insert(words.end(), {"--trace", trace, "--state", state, "--"});
    if (run.interruptAt_ms > 0 && isKinect)
        words.insert(words.end(), {"/usr/bin/timeout", "--preserve-status", "--signal=INT",
                                   std::to_string(run.interruptAt_ms / 1000.0 / kKinectSpeed)});
    else if (run.interruptAt_ms > 0)
        words.insert(words.end(),
                     {"/usr/bin/env", "PROGRAM_INTERRUPT=" + std::to_string(run.interruptAt_ms)});
    words.insert(words.end(), {"/bin/sh", "-c",
                               "export PROGRAM_REPORT=$0 PICTURES='" + folder.string() + "' " +
                                   (isKinect ? kKinectClock : kSharedClock) + "; exec \"$@\"",
                               report});
    const std::vector<std::string> tool = toolOf(*run.command);
    words.insert(words.end(), tool.begin(), tool.end());

    const support::Ended ended = support::run(words);
    Outcome outcome;
    outcome.status = ended.status;
    outcome.log = ended.err;
    addCameraOrders(receivedBy("camera", trace), &outcome.orders);
    addServoOrders(receivedBy("servos", trace), &outcome.orders);
    addLaserOrders(receivedBy("laser", trace), &outcome.orders);
    outcome.state = contents(state);
    readReport(report, &outcome);
    return outcome;
}

}  // namespace matrix
