#include "devices/serial/device_line.h"

#include <utility>

#include "devices/serial/serial_port.h"

namespace quill
{
namespace
{

std::unique_ptr<ByteLine> makePort()
{
    return std::make_unique<SerialPort>();
}

/// What lines of this process are, unless whoever makes one says otherwise.
struct Defaults
{
    Duration delay;
    DeviceLine::MakeBytes make = makePort;
};

Defaults& defaults()
{
    static Defaults object;
    return object;
}

}  // namespace

DeviceLine::DeviceLine() : DeviceLine(defaults().make(), defaults().delay) {}

DeviceLine::DeviceLine(std::unique_ptr<ByteLine> bytes, Duration delay)
    : m_bytes(std::move(bytes)), m_delay(delay)
{}

void DeviceLine::setDefaultDelay(Duration delay)
{
    defaults().delay = delay;
}

void DeviceLine::setDefaultBytes(MakeBytes make)
{
    defaults().make = make ? std::move(make) : makePort;
}

std::optional<Error> DeviceLine::open(const std::string& path, int bitRate)
{
    m_path = path;
    return m_bytes->open(path, bitRate);
}

}  // namespace quill
