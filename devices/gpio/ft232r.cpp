#include "ft232r.h"

#include <ftdi.h>
#include <libusb.h>
#include <unistd.h>

#include <cerrno>

#include "devices/gpio/ft232r_codec.h"
#include "devices/usb/usb_device.h"

namespace quill
{
namespace
{

constexpr int kRequestTimeoutMs = 1000;
constexpr uint8_t kOrderToChip = 0x40;  // bmRequestType
constexpr uint8_t kWriteEeprom = 0x91;
constexpr int kEepromWriteLatencyMs = 0x77;
constexpr int kRelease = 0x0600;  // bcdDevice of every FT232R
/// Of the other chips that have CBUS pins, at other places of the EEPROM and with other codes.
constexpr int kReleaseFt232h = 0x0900;
constexpr int kReleaseFtx = 0x1000;

struct FreeDeviceList
{
    void operator()(libusb_device** list) const { libusb_free_device_list(list, 1); }
};

std::string remedyFor(int usbError, const std::string& node)
{
    switch (usbError) {
        case LIBUSB_ERROR_ACCESS:
            return "write access to " + node +
                   " is needed: a udev rule for its vendor and product, or root";
        case LIBUSB_ERROR_NO_DEVICE: return "unplugged?";
        case LIBUSB_ERROR_PIPE:
        case LIBUSB_ERROR_TIMEOUT: return "unplug the adapter and plug it in again";
        default: return "";
    }
}

Error usbError(const std::string& path, const std::string& step, int code, const std::string& node)
{
    return {path, step, 0, libusb_strerror(code), remedyFor(code, node)};
}

Error wrongChip(const std::string& path, const std::string& step, const UsbDevice& device)
{
    const bool hasCbus = device.ttyDriver == "ftdi_sio" &&
                         (device.release == kReleaseFt232h || device.release == kReleaseFtx);
    return {path, step, 0,
            hasCbus ? "this chip's CBUS pins are not supported" : "its adapter is no FT232R",
            "only those of an FT232R are supported; lsusb shows what it is"};
}

}  // namespace

void FT232R::Free::operator()(ftdi_context* context) const
{
    ftdi_free(context);  // closes the USB device too; no request is sent
}

FT232R::FT232R() = default;
FT232R::~FT232R() = default;

std::optional<Error> FT232R::open(const std::string& path)
{
    m_path = path;
    const std::string step = "open the CBUS pins";
    const auto device = findUsbDevice(path);
    if (!device || device->ttyDriver.empty()) {
        const bool exists = ::access(path.c_str(), F_OK) == 0;
        return Error{path, step, exists ? 0 : ENOENT, exists ? "no serial adapter on USB" : "",
                     "is it plugged in? ls -l /dev/serial/by-id shows the adapters"};
    }
    if (device->ttyDriver != "ftdi_sio" || device->release != kRelease)
        return wrongChip(path, step, *device);
    return openUsb(device->bus, device->address, device->nodePath());
}

std::optional<Error> FT232R::openUsb(int bus, int address, const std::string& node)
{
    const std::string step = "open " + node;
    m_context.reset(ftdi_new());
    if (!m_context) return Error{m_path, step, ENOMEM, "", ""};

    libusb_device** devices = nullptr;
    const ssize_t count = libusb_get_device_list(m_context->usb_ctx, &devices);
    if (count < 0) return usbError(m_path, step, static_cast<int>(count), node);
    const std::unique_ptr<libusb_device*, FreeDeviceList> owner(devices);
    for (ssize_t i = 0; i < count; ++i) {
        if (libusb_get_bus_number(devices[i]) != bus ||
            libusb_get_device_address(devices[i]) != address)
            continue;
        libusb_device_handle* handle = nullptr;
        const int result = libusb_open(devices[i], &handle);
        if (result != LIBUSB_SUCCESS) return usbError(m_path, step, result, node);
        // ftdi_usb_open() would take the interface from the serial driver, and the tty with it.
        ftdi_set_usbdev(m_context.get(), handle);
        m_context->type = TYPE_R;
        m_context->usb_read_timeout = m_context->usb_write_timeout = kRequestTimeoutMs;
        return std::nullopt;
    }
    return usbError(m_path, step, LIBUSB_ERROR_NO_DEVICE, node);
}

std::optional<Error> FT232R::readCbusFunction(unsigned int pin, int* function)
{
    unsigned short functions = 0;
    if (ftdi_read_eeprom_location(m_context.get(), ft232r::kCbusFunctionsWord, &functions) != 0)
        return failure("read the function of CBUS" + std::to_string(pin));
    *function = ft232r::cbusFunctionOf(functions, pin);
    return std::nullopt;
}

std::optional<Error> FT232R::readEeprom(int address, uint16_t* word)
{
    unsigned short value = 0;
    if (ftdi_read_eeprom_location(m_context.get(), address, &value) != 0)
        return failure("read word " + std::to_string(address) + " of the EEPROM");
    *word = value;
    return std::nullopt;
}

std::optional<Error> FT232R::writeEeprom(int address, uint16_t word)
{
    // libftdi writes single words only beyond those that the chip itself uses.
    const int result =
        libusb_control_transfer(m_context->usb_dev, kOrderToChip, kWriteEeprom, word,
                                static_cast<uint16_t>(address), nullptr, 0, kRequestTimeoutMs);
    if (result < 0) return failure("write word " + std::to_string(address) + " of the EEPROM");
    return std::nullopt;
}

std::optional<Error> FT232R::beginEepromWrite(int* latencyMs)
{
    unsigned char latency = 0;
    if (ftdi_get_latency_timer(m_context.get(), &latency) != 0)
        return failure("read the latency timer");
    *latencyMs = latency;
    return endEepromWrite(kEepromWriteLatencyMs);
}

std::optional<Error> FT232R::endEepromWrite(int latencyMs)
{
    if (ftdi_set_latency_timer(m_context.get(), static_cast<unsigned char>(latencyMs)) != 0)
        return failure("set the latency timer");
    return std::nullopt;
}

std::optional<Error> FT232R::setCbusPins(unsigned int outputs, unsigned int levels)
{
    const auto mask = static_cast<unsigned char>((outputs & 0xF) << 4 | (levels & 0xF));
    if (ftdi_set_bitmode(m_context.get(), mask, BITMODE_CBUS) != 0)
        return failure("set the CBUS pins");
    return std::nullopt;
}

// libftdi keeps to itself what USB said. A request that every USB device must answer (GET_STATUS)
// tells a chip that refuses from one that is gone.
Error FT232R::failure(const std::string& step) const
{
    constexpr uint8_t kFromDevice = LIBUSB_ENDPOINT_IN;
    uint8_t status[2];
    const int result =
        libusb_control_transfer(m_context->usb_dev, kFromDevice, LIBUSB_REQUEST_GET_STATUS, 0, 0,
                                status, sizeof status, kRequestTimeoutMs);
    if (result < 0) return usbError(m_path, step, result, "");
    return {m_path, step, 0, "the chip refuses", "unplug the adapter and plug it in again"};
}

}  // namespace quill
