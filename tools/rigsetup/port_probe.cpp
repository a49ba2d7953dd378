#include "tools/rigsetup/port_probe.h"

#include <fmt/format.h>

#include <set>
#include <sstream>

#include "devices/visca/camera_setup.h"

namespace rigsetup
{
namespace
{

using quill::CameraSetup;
using quill::Error;

constexpr quill::Duration kCameraTimeout = quill::seconds(1);

/// Those that servos are shipped with and that rigs use; see register 4.
constexpr int kCommonBaudNumbers[] = {1, 3, 9, 16, 34, 103, 207};

Finding failed(const Error& error)
{
    return {Finding::Kind::Failed, error.text(), {}};
}

Finding describe(CameraSetup& camera)
{
    CameraSetup::Version version;
    bool isOn = false;
    auto error = camera.readVersion(&version, kCameraTimeout);
    const std::string who = error ? "vendor not told"
                                  : fmt::format("vendor {:04x}, model {:04x}, ROM {:04x}",
                                                version.vendor, version.model, version.romRevision);
    error = camera.readPower(&isOn, kCameraTimeout);
    const char* const power = error ? "power not told" : isOn ? "on" : "in standby";
    return {Finding::Kind::Camera,
            fmt::format("VISCA camera at {} bit/s: {}, {}", camera.bitRate(), who, power),
            {}};
}

}  // namespace

Finding probePort(const std::string& path, int baudNumber)
{
    {
        CameraSetup camera;
        const auto error = camera.open(path, kCameraTimeout);
        if (!error) return describe(camera);
        if (error->kind != quill::ErrorKind::Silence) return failed(*error);
    }
    std::set<int> asked = {baudNumber};
    Finding finding;
    auto error = quill::dynamixel::searchServos(path, baudNumber, &finding.servos);
    for (const int number : kCommonBaudNumbers)
        if (!error && asked.insert(number).second)
            error = quill::dynamixel::searchServos(path, number, &finding.servos);
    if (error) return failed(*error);
    if (!finding.servos.empty()) finding.kind = Finding::Kind::Servos;
    return finding;
}

std::string encodeFinding(const Finding& finding)
{
    std::string text = fmt::format("{}\n{}\n", static_cast<int>(finding.kind), finding.text);
    for (const auto& servo : finding.servos)
        text += fmt::format("{} {} {}\n", servo.id, servo.baudNumber, servo.model);
    return text;
}

Finding decodeFinding(const std::string& text)
{
    std::istringstream in(text);
    Finding finding;
    int kind = 0;
    std::string line;
    if (!(in >> kind) || !std::getline(in, line) || !std::getline(in, finding.text))
        return {Finding::Kind::Failed, "it was not asked to the end", {}};
    finding.kind = static_cast<Finding::Kind>(kind);
    quill::dynamixel::FoundServo servo;
    while (in >> servo.id >> servo.baudNumber >> servo.model) finding.servos.push_back(servo);
    return finding;
}

}  // namespace rigsetup
