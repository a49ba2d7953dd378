#include "devices/visca/camera_setup.h"

#include <algorithm>

#include "devices/visca/visca_codec.h"
#include "visca_conversation.h"

namespace quill
{
namespace
{

using visca::Bytes;
using visca::Conversation;

/// Of the waits between two looks at a camera that starts or stops.
constexpr Duration kPowerPause = milliseconds(200);
constexpr Duration kPowerAnswer = seconds(1);

const char* nameOf(bool isOn)
{
    return isOn ? "on" : "standby";
}

}  // namespace

CameraSetup::CameraSetup() : m_conversation(std::make_unique<Conversation>(DeviceLine())) {}
CameraSetup::~CameraSetup() = default;

std::optional<Error> CameraSetup::open(const std::string& device, Duration timeout)
{
    return m_conversation->open(device, timeout);
}

int CameraSetup::bitRate() const
{
    return m_conversation->bitRate();
}

int CameraSetup::cameras() const
{
    return m_conversation->cameras();
}

std::optional<Error> CameraSetup::readVersion(Version* version, Duration timeout)
{
    Bytes data;
    auto error =
        m_conversation->inquire(visca::versionInquiry(), "ask for the version",
                                visca::kVersionDataBytes, &data, timeout, visca::isInquiryAnswer);
    if (error) return error;
    const visca::Version told = visca::decodeVersion(data);
    *version = {told.vendor, told.model, told.romRevision};
    return std::nullopt;
}

std::optional<Error> CameraSetup::readPower(bool* isOn, Duration timeout)
{
    Bytes data;
    const std::string what = "ask for the power state";
    auto error = m_conversation->inquire(visca::powerInquiry(), what, visca::kPowerDataBytes, &data,
                                         timeout, visca::isInquiryAnswer);
    if (error) return error;
    if (data[0] != visca::kPowerOn && data[0] != visca::kStandby)
        return Error{m_conversation->device(),
                     what,
                     0,
                     "unknown power state " + std::to_string(data[0]),
                     "2 is on and 3 is standby: look into the camera's manual",
                     ErrorKind::Refused};
    *isOn = data[0] == visca::kPowerOn;
    return std::nullopt;
}

std::optional<Error> CameraSetup::setPower(bool on, Duration timeout)
{
    const Time deadline = Time::now() + timeout;
    const std::string what = std::string("switch the power to ") + nameOf(on);
    int order = 0;
    if (auto error = m_conversation->command(visca::power(on), what, Conversation::Until::Taken,
                                             timeout, &order))
        return error;
    for (;;) {
        // A refusal and silence are what a camera does that is starting.
        bool isOn = !on;
        const Duration left = deadline - Time::now();
        auto error = readPower(&isOn, std::min(left, kPowerAnswer));
        if (!error && isOn == on) return std::nullopt;
        if (error && error->kind == ErrorKind::LineLost) return error;
        if (Time::now() + kPowerPause >= deadline) {
            if (error) return error;
            return Error{m_conversation->device(),
                         what,
                         0,
                         std::string("taken, but the camera stays at ") + nameOf(isOn),
                         "switch it off at its plug, on again, and look at its switches",
                         ErrorKind::Refused};
        }
        sleep(kPowerPause);
    }
}

}  // namespace quill
