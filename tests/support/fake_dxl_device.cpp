#include "support/fake_dxl_device.h"

#include "devices/dynamixel/dxl_device.h"

namespace quill::dynamixel
{
class DxlBus
{};
}  // namespace quill::dynamixel

support::FakeBus support::fakeBus;

namespace
{

using support::fakeBus;

template <typename... Numbers>
void note(const std::string& call, Numbers... numbers)
{
    std::string text = call;
    ((text += " " + std::to_string(numbers)), ...);
    fakeBus.calls.push_back(text);
}

}  // namespace

DxlDevice::DxlDevice() = default;

DxlDevice::~DxlDevice()
{
    if (m_bus != nullptr) note("close");
}

int DxlDevice::dxl_initialize(const std::string& device, int baudnum)
{
    note("open " + device, baudnum);
    if (fakeBus.opens) m_bus = std::make_unique<quill::dynamixel::DxlBus>();
    return fakeBus.opens ? 1 : 0;
}

int DxlDevice::dxl_read_byte(int id, int address)
{
    note("read", id, address);
    fakeBus.unreportedSilences += m_silenceExpected;
    return fakeBus.read(id, address);
}

int DxlDevice::dxl_read_word(int id, int address)
{
    note("readword", id, address);
    fakeBus.unreportedSilences += m_silenceExpected;
    return fakeBus.read(id, address);
}

int DxlDevice::dxl_write_byte(int id, int address, int value)
{
    note("write", id, address, value);
    return fakeBus.write(id, address, value);
}

int DxlDevice::dxl_write_word(int id, int address, int value)
{
    note("writeword", id, address, value);
    return fakeBus.write(id, address, value);
}

void DxlDevice::setSilenceExpected(bool expected)
{
    m_silenceExpected = expected;
}

bool DxlDevice::isLineLost() const
{
    return fakeBus.isLineLost();
}
