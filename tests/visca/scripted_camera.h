#pragma once

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include "common/time.h"
#include "devices/visca/visca_camera.h"
#include "support/fake_clock.h"
#include "support/log_capture.h"
#include "support/scripted_line.h"

/// What a camera on a scripted line says, and its opening. On the fake clock.
namespace quill::scripted_camera
{

using support::Answer;
using support::Bytes;
using support::line;

inline const Bytes kOpening = {0x88, 0x30, 0x01, 0xFF, 0x88, 0x01, 0x00, 0x01, 0xFF};
inline const Bytes kZoomInquiry = {0x81, 0x09, 0x04, 0x47, 0xFF};
inline const Bytes kAddress2 = {0x88, 0x30, 0x02, 0xFF};
inline const Bytes kCleared = {0x88, 0x01, 0x00, 0x01, 0xFF};
inline const Bytes kAcknowledge1 = {0x90, 0x41, 0xFF};
inline const Bytes kAcknowledge2 = {0x90, 0x42, 0xFF};
inline const Bytes kCompletion1 = {0x90, 0x51, 0xFF};
inline const Bytes kCompletion2 = {0x90, 0x52, 0xFF};
inline const Bytes kNetworkChange = {0x90, 0x38, 0xFF};
inline const Bytes kSyntaxError = {0x90, 0x60, 0x02, 0xFF};
inline const Bytes kNotExecutable = {0x90, 0x60, 0x41, 0xFF};
inline const Bytes kNotExecutable1 = {0x90, 0x61, 0x41, 0xFF};
inline const Bytes kCancelled1 = {0x90, 0x61, 0x04, 0xFF};
inline const Bytes kPanTilt = {0x90, 0x50, 0, 0, 6, 4, 0xF, 0xF, 0xE, 0xC, 0xFF};  // 100, -20
inline const Bytes kHighPanTilt = {0x90, 0x50, 0x10, 0, 6, 4, 0xF, 0xF, 0xE, 0xC, 0xFF};
inline const Bytes kZoom = {0x90, 0x50, 0, 0, 0, 3, 0xFF};

constexpr Duration kTimeout = seconds(5);
constexpr Duration kDoubtGrace = milliseconds(150);

/// Replies to one request, 1 ms apart.
inline Answer replies(const std::vector<Bytes>& packets)
{
    Answer answer;
    for (const Bytes& packet : packets) answer.push_back({packet});
    return answer;
}

struct Opened
{
    std::shared_ptr<VISCACamera> camera;
    std::vector<std::string> log;
    Duration took;
};

/// Opens the camera; each entry of `script` is what comes back for one request.
inline Opened openAs(const std::vector<std::vector<Bytes>>& script)
{
    line() = {};
    for (const auto& entry : script) line().script.push_back(replies(entry));
    support::LogCapture log;
    const Time start = Time::now();
    auto camera = VISCACamera::open("/dev/camera", seconds(1));
    const Duration took = Time::now() - start;
    return {camera, log.records(), took};
}

/// A camera that answers as it should when it is opened, then as scripted.
inline std::shared_ptr<VISCACamera> open(std::vector<std::vector<Bytes>> script)
{
    script.insert(script.begin(), {kAddress2, kCleared});
    const Opened opened = openAs(script);
    EXPECT_THAT(opened.log, testing::IsEmpty());
    return opened.camera;
}

}  // namespace quill::scripted_camera
