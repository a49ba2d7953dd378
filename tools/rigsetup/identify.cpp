#include "tools/rigsetup/identify.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <map>

#include "tools/rigsetup/port_probe.h"

namespace rigsetup
{
namespace
{

constexpr quill::Duration kLimit = quill::milliseconds(4800);  // 5 s with start and end

/// What the whole-rig test expects of a servo bus.
constexpr int kTestBaudNumber = 34;
constexpr int kPanId = 1, kTiltId = 2;

std::string servosText(const Finding& finding)
{
    std::string text = "servos";
    int baudNumber = -1;
    for (const auto& servo : finding.servos) {
        text +=
            servo.baudNumber == baudNumber
                ? ","
                : fmt::format("{} at baud number {}:", baudNumber < 0 ? "" : ";", servo.baudNumber);
        baudNumber = servo.baudNumber;
        text += fmt::format(" ID {} (model {})", servo.id, servo.model);
    }
    return text;
}

std::string textOf(const ProbedPort& port)
{
    if (!port.finding) return "not asked: " + port.whyNot;
    switch (port.finding->kind) {
        case Finding::Kind::Camera: return port.finding->text;
        case Finding::Kind::Servos: return servosText(*port.finding);
        case Finding::Kind::NoAnswer: return "no answer (a laser relay gives none)";
        case Finding::Kind::Failed: break;
    }
    return "failed: " + port.finding->text;
}

bool isReadyForTest(const Finding& finding)
{
    const auto has = [&](int id) {
        return std::any_of(finding.servos.begin(), finding.servos.end(), [&](const auto& servo) {
            return servo.id == id && servo.baudNumber == kTestBaudNumber;
        });
    };
    return has(kPanId) && has(kTiltId);
}

/// The line to run next, or why there is none.
std::string nextStep(const std::vector<ProbedPort>& ports)
{
    std::map<Finding::Kind, std::vector<const ProbedPort*>> found;
    for (const ProbedPort& port : ports)
        if (port.finding) found[port.finding->kind].push_back(&port);
    const struct
    {
        Finding::Kind kind;
        const char* what;
    } parts[] = {{Finding::Kind::Camera, "camera"},
                 {Finding::Kind::Servos, "servo bus"},
                 {Finding::Kind::NoAnswer, "port without an answer, the laser's"}};
    std::string list, lacking;
    for (const auto& part : parts) {
        const auto& here = found[part.kind];
        if (here.size() != 1)
            lacking += fmt::format("{}{} {}", lacking.empty() ? "" : ", ", here.size(), part.what);
        else
            list += (list.empty() ? "" : ",") + here.front()->device.path;
    }
    if (!lacking.empty())
        return fmt::format(
            "The whole-rig test needs one camera, one servo bus and one port without "
            "an answer, the laser's; here: {}.",
            lacking);
    if (!isReadyForTest(*found[Finding::Kind::Servos].front()->finding))
        return fmt::format(
            "The whole-rig test needs servos with the IDs {} and {} at baud number "
            "{}.",
            kPanId, kTiltId, kTestBaudNumber);
    return fmt::format("rigtool -t 'commands=test({})'", list);
}

}  // namespace

int identify(const IdentifyOptions& options, bool isDryRun)
{
    const auto ports = isDryRun ? listPorts() : probeAllPorts(options.baudNumber, kLimit);
    if (ports.empty()) {
        std::fputs("rigsetup: no serial device (is the rig plugged in?)\n", stderr);
        return 1;
    }
    for (const ProbedPort& port : ports)
        fmt::print("{}  {}\n", port.device.path,
                   isDryRun && port.whyNot.empty() ? "would be asked" : textOf(port));
    if (!isDryRun) fmt::print("\n{}\n", nextStep(ports));
    return 0;
}

}  // namespace rigsetup
