#include "tools/rigsim/faults.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <stdexcept>

#include "common/text.h"

namespace rigsim
{
namespace
{

struct ValueForm
{
    const char* placeholder;
    int64_t lowest, highest;
};

// A day and a million are more than any run needs.
ValueForm formOf(FaultValue value)
{
    switch (value) {
        case FaultValue::Milliseconds: return {"MS", 0, 86400000};
        case FaultValue::Seconds: return {"SECONDS", 0, 86400};
        case FaultValue::Count: return {"N", 1, 1000000};
        case FaultValue::ServoId: return {"ID", 0, 253};
        case FaultValue::StatusLevel: return {"N", 0, 2};
        case FaultValue::ReturnDelay: return {"N", 0, 254};
        case FaultValue::CbusPin: return {"PIN", 0, 3};
        case FaultValue::None: break;
    }
    return {"", 0, 0};
}

const FaultKind* find(const std::string& name)
{
    const auto& kinds = faultKinds();
    const auto kind =
        std::find_if(kinds.begin(), kinds.end(), [&](const auto& k) { return k.name == name; });
    return kind == kinds.end() ? nullptr : &*kind;
}

const FaultKind& nearest(const std::string& name)
{
    // The device may be left out by mistake: "slow" is near to "camera.slow".
    const bool hasDevice = name.find('.') != std::string::npos;
    std::vector<std::string> names;
    for (const FaultKind& kind : faultKinds()) {
        const std::string full = kind.name;
        names.push_back(hasDevice ? full : full.substr(full.find('.') + 1));
    }
    const auto found = std::find(names.begin(), names.end(), quill::nearestText(name, names));
    return faultKinds()[static_cast<size_t>(found - names.begin())];
}

// Milliseconds, or the number.
std::optional<int64_t> parseValue(FaultValue value, const std::string& text)
{
    const char* const end = text.data() + text.size();
    const auto [placeholder, lowest, highest] = formOf(value);
    if (value == FaultValue::Seconds) {
        double number = 0;
        const auto [stop, error] =
            std::from_chars(text.data(), end, number, std::chars_format::fixed);
        if (error != std::errc() || stop != end ||
            !(number >= static_cast<double>(lowest) && number <= static_cast<double>(highest)))
            return std::nullopt;
        return std::llround(number * 1000);
    }
    int64_t number = 0;
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end || number < lowest || number > highest)
        return std::nullopt;
    return number;
}

}  // namespace

const std::vector<FaultKind>& faultKinds()
{
    using Value = FaultValue;
    constexpr int64_t kTiltServo = 2;
    constexpr int64_t kCbus1 = 1;
    static const std::vector<FaultKind> kinds = {
        {"camera.silent", Value::None, {}, "takes orders, but no byte comes back"},
        {"camera.slow", Value::Milliseconds, {}, "every reply comes that much later"},
        {"camera.late-ack", Value::Milliseconds, 3100,
         "the first ACK, and what follows it, comes that late"},
        {"camera.noise", Value::Count, 1, "N random bytes before every packet"},
        {"camera.echo", Value::None, {}, "the line also sends back what was written to it"},
        {"camera.split", Value::None, {}, "bytes come one at a time, 10 ms apart"},
        {"camera.cut", Value::Count, 0, "replies (the Nth only) end in mid-packet"},
        {"camera.stale", Value::None, {}, "a completion and a network change come unasked"},
        {"camera.stray-error", Value::Milliseconds, 0,
         "an error of an earlier run's order comes that long after the first packet"},
        {"camera.refuse", Value::None, {}, "moves are answered 'not executable'"},
        {"camera.refuse-taken", Value::Milliseconds, 0,
         "pan/tilt moves are 'not executable' that long after their ACK"},
        {"camera.refuse-inquiries",
         Value::None,
         {},
         "position inquiries are answered 'not executable'"},
        {"camera.standby", Value::None, {}, "is in standby at first"},
        {"camera.buffer-full", Value::Count, 1000000,
         "moves (the first N only) are answered 'buffer full'"},
        {"camera.refuse-address", Value::None, {}, "address set is answered 'syntax error'"},
        {"camera.ack-address", Value::None, {}, "address set is answered with an ACK"},
        {"camera.ignore-address", Value::None, {}, "address set is not answered"},
        {"camera.refuse-clear", Value::Milliseconds, 0,
         "interface clear is answered 'syntax error' that late"},
        {"camera.ignore-clear", Value::None, {}, "interface clear is not answered"},
        {"camera.no-ack", Value::None, {}, "orders are completed, but never acknowledged"},
        {"camera.one-socket", Value::None, {}, "every order is said to be in socket 1"},
        {"camera.other-address", Value::None, {}, "replies come from address 2, header A0"},
        {"camera.at-38400", Value::None, {}, "its line runs at 38400 bit/s"},
        {"camera.high-nibbles", Value::Count, 1000000,
         "positions (the first N only) have bits in the high halves of their nibbles"},
        {"camera.stuck", Value::None, {}, "moves are taken and completed, but nothing moves"},
        {"camera.restless", Value::None, {}, "position readings never repeat"},
        {"camera.unplug", Value::Seconds, {}, "the cable is pulled after that time"},
        {"camera.unplug-on-move", Value::Milliseconds, 0,
         "the cable is pulled that long after a move"},

        {"servos.silent", Value::None, {}, "take orders, but no byte comes back"},
        {"servos.slow", Value::Milliseconds, {}, "every answer comes that much later"},
        {"servos.late-answer", Value::Milliseconds, 40, "the first answer comes that much later"},
        {"servos.noise", Value::Count, 1, "N random bytes before every answer"},
        {"servos.echo", Value::None, {}, "the line also sends back what was written to it"},
        {"servos.split", Value::None, {}, "bytes come one at a time, 10 ms apart"},
        {"servos.cut", Value::Count, 0, "answers (the Nth only) end in mid-packet"},
        {"servos.drop", Value::Count, {}, "every Nth answer does not come"},
        {"servos.wrong-checksum", Value::Count, 1, "answers (every Nth only) have a bad checksum"},
        {"servos.return-delay",
         Value::ReturnDelay,
         {},
         "register 5 holds N: answers 2 us * N later"},
        {"servos.status-level",
         Value::StatusLevel,
         {},
         "register 16 holds N: 0 answers ping only, 1 reads too"},
        {"servos.stuck", Value::ServoId, kTiltServo,
         "never moves, says it moves until it is there"},
        {"servos.jammed", Value::ServoId, kTiltServo, "stops half-way to every goal"},
        {"servos.overload", Value::ServoId, kTiltServo,
         "reports overload; torque is off while register 18 has 32"},
        {"servos.overheating", Value::ServoId, kTiltServo,
         "reports overheating; torque is off while register 18 has 4"},
        {"servos.twin", Value::ServoId, kTiltServo,
         "a second servo has this ID too, at other positions"},
        {"servos.lost", Value::ServoId, kTiltServo, "is not on the line"},
        {"servos.wrong-id", Value::ServoId, kTiltServo, "register 3 reads one more than its ID"},
        {"servos.no-power", Value::Seconds, 0, "no servo has power from that time on"},
        {"servos.unplug", Value::Seconds, {}, "the cable is pulled after that time"},
        {"servos.unplug-on-move", Value::Milliseconds, 0,
         "the cable is pulled that long after a goal is taken"},

        {"laser.stuck", Value::None, {}, "takes orders, but stays off"},
        {"laser.unplug", Value::Seconds, {}, "the cable is pulled after that time"},
        {"laser.unplug-on-switch", Value::Milliseconds, 0,
         "the cable is pulled that long after it went on or off"},

        {"cbus.not-io", Value::CbusPin, kCbus1, "the EEPROM gives the pin its factory function"},
        {"cbus.other-chip", Value::None, {}, "the adapters are no FT232R but an FT230X"},
        {"cbus.no-permission", Value::None, {}, "the adapters' USB nodes cannot be opened"},
        {"cbus.refuse", Value::None, {}, "the bit mode cannot be set"},
        {"cbus.ignore-write", Value::None, {}, "the EEPROM stays as it is, and no error says so"},
        {"cbus.cut-write", Value::None, {}, "an adapter is pulled after a word of its EEPROM"},
        {"cbus.no-serial", Value::None, {}, "the adapters have no serial number"},
        {"cbus.unplug-after", Value::Count, {}, "an adapter is pulled after N requests"},

        {"kinect.absent", Value::None, {}, "is not plugged in"},
        {"kinect.no-permission", Value::None, {}, "its device node may not be opened"},
        {"kinect.no-power", Value::None, {}, "only its hub is there"},
        {"kinect.busy", Value::None, {}, "another program holds it"},
        {"kinect.usb2", Value::None, {}, "is at a USB 2 port, where it cannot start"},
        {"kinect.no-infrared", Value::None, {}, "sends no infrared frames"},
        {"kinect.no-colour", Value::None, {}, "sends no colour frames"},
        {"kinect.rgbx", Value::None, {}, "colour frames have red before blue"},
        {"kinect.damaged", Value::None, {}, "every other frame is said to be damaged, and is"},
        {"kinect.slow", Value::Milliseconds, {}, "the first frames come that much later"},
        {"kinect.unplug", Value::Seconds, {}, "is unplugged that long after streaming began"},
    };
    return kinds;
}

std::string faultSyntax(const FaultKind& kind)
{
    if (kind.value == FaultValue::None) return kind.name;
    return fmt::format(kind.fallback ? "{}[={}]" : "{}={}", kind.name,
                       formOf(kind.value).placeholder);
}

Faults::Faults(std::initializer_list<const char*> texts)
{
    for (const char* text : texts)
        if (const auto error = add(text)) throw std::invalid_argument(*error);
}

std::optional<std::string> Faults::add(const std::string& text)
{
    const size_t equals = text.find('=');
    const std::string name = text.substr(0, equals);
    const FaultKind* kind = find(name);
    if (!kind)
        return fmt::format("unknown fault '{}', the nearest is {}", name,
                           faultSyntax(nearest(name)));

    if (equals == std::string::npos) {
        if (kind->value != FaultValue::None && !kind->fallback)
            return fmt::format("fault '{}' needs a value: {}", name, faultSyntax(*kind));
        m_values[name] = kind->fallback.value_or(0);
        return std::nullopt;
    }
    if (kind->value == FaultValue::None) return fmt::format("fault '{}' takes no value", name);
    const auto value = parseValue(kind->value, text.substr(equals + 1));
    if (!value)
        return fmt::format("bad value in '{}', it must be a number from {} to {}: {}", text,
                           formOf(kind->value).lowest, formOf(kind->value).highest,
                           faultSyntax(*kind));
    m_values[name] = *value;
    return std::nullopt;
}

bool Faults::has(const std::string& name) const
{
    return count(name).has_value();
}

std::optional<int64_t> Faults::count(const std::string& name) const
{
    if (!find(name)) throw std::logic_error("no fault has the name " + name);
    const auto found = m_values.find(name);
    return found == m_values.end() ? std::nullopt : std::make_optional(found->second);
}

std::optional<quill::Duration> Faults::span(const std::string& name) const
{
    const auto ms = count(name);
    return ms ? std::make_optional(quill::milliseconds(*ms)) : std::nullopt;
}

}  // namespace rigsim
