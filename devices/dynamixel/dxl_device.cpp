#include "devices/dynamixel/dxl_device.h"

#include "common/logging.h"
#include "dxl_bus.h"

using quill::kWarning;
using quill::dynamixel::DxlBus;
using quill::dynamixel::kByte;
using quill::dynamixel::kWord;

namespace
{

constexpr const char* kCategory = "dynamixel";

bool isOpen(const std::unique_ptr<DxlBus>& bus)
{
    if (!bus) QUILL_LOG(kWarning, kCategory) << "register access on a device that is not open";
    return bus != nullptr;
}

}  // namespace

DxlDevice::DxlDevice() = default;
DxlDevice::~DxlDevice() = default;

int DxlDevice::dxl_initialize(const std::string& device, int baudnum)
{
    m_bus.reset();
    auto bus = std::make_unique<DxlBus>(quill::DeviceLine());
    if (const auto error = bus->open(device, baudnum)) {
        QUILL_LOG(kWarning, kCategory) << error->text();
        return 0;
    }
    m_bus = std::move(bus);
    m_bus->setSilenceExpected(m_silenceExpected);
    return 1;
}

int DxlDevice::dxl_read_byte(int id, int address)
{
    return isOpen(m_bus) ? m_bus->read(id, address, kByte) : -1;
}

int DxlDevice::dxl_read_word(int id, int address)
{
    return isOpen(m_bus) ? m_bus->read(id, address, kWord) : -1;
}

int DxlDevice::dxl_write_byte(int id, int address, int value)
{
    return isOpen(m_bus) && m_bus->write(id, address, value, kByte) ? 1 : 0;
}

int DxlDevice::dxl_write_word(int id, int address, int value)
{
    return isOpen(m_bus) && m_bus->write(id, address, value, kWord) ? 1 : 0;
}

void DxlDevice::setSilenceExpected(bool expected)
{
    m_silenceExpected = expected;
    if (m_bus) m_bus->setSilenceExpected(expected);
}

bool DxlDevice::isLineLost() const
{
    return m_bus && m_bus->isLineLost();
}
