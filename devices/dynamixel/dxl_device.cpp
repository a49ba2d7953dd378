#include "devices/dynamixel/dxl_device.h"

#include "common/logging.h"
#include "dxl_bus.h"

using quill::kWarning;
using quill::dynamixel::DxlBus;
using quill::dynamixel::kByte;
using quill::dynamixel::kWord;
using quill::dynamixel::Width;

namespace
{

constexpr const char* kCategory = "dynamixel";

/// @return what `access` to the bus returns, or `failed`, logged, when it is not open
template <typename Access>
int onOpen(const std::unique_ptr<DxlBus>& bus, int failed, const Access& access)
{
    if (bus) return access(*bus);
    QUILL_LOG(kWarning, kCategory) << "register access on a device that is not open";
    return failed;
}

int readOn(const std::unique_ptr<DxlBus>& bus, int id, int address, Width width)
{
    return onOpen(bus, -1, [&](DxlBus& open) { return open.read(id, address, width); });
}

int writeOn(const std::unique_ptr<DxlBus>& bus, int id, int address, int value, Width width)
{
    return onOpen(bus, 0, [&](DxlBus& open) { return open.write(id, address, value, width); });
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
    return readOn(m_bus, id, address, kByte);
}

int DxlDevice::dxl_read_word(int id, int address)
{
    return readOn(m_bus, id, address, kWord);
}

int DxlDevice::dxl_write_byte(int id, int address, int value)
{
    return writeOn(m_bus, id, address, value, kByte);
}

int DxlDevice::dxl_write_word(int id, int address, int value)
{
    return writeOn(m_bus, id, address, value, kWord);
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
