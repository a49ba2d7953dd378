// usb_probe DEVICE STEP...: opens the USB device with that number on the first bus and takes the
// steps, one line of output each. Stands for any program that uses the chip of an adapter.
//
//     mode=HEX        sets bit mode (high byte) and mask (low byte)
//     word=HEX        reads a word of the EEPROM
//     pins            reads the levels
//     image           reads the whole EEPROM and checks it
//     serial          reads the serial number string
//     say=PATH,RATE,HEX   has a packet answered on a serial line, the device open meanwhile
//     take            takes the device from its driver: configuration, interface, reset, and back

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <ftdi.h>
#include <libusb.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string>

#include "tests/rigsim/serial_client.h"

namespace
{

std::string outcome(ftdi_context* ftdi, int result)
{
    return result >= 0 ? "done" : ftdi_get_error_string(ftdi);
}

libusb_device_handle* open(libusb_context* usb, int address)
{
    libusb_device** devices = nullptr;
    const ssize_t count = libusb_get_device_list(usb, &devices);
    libusb_device_handle* handle = nullptr;
    int error = LIBUSB_ERROR_NOT_FOUND;
    for (ssize_t i = 0; i < count; ++i)
        if (libusb_get_bus_number(devices[i]) == 1 &&
            libusb_get_device_address(devices[i]) == address)
            error = libusb_open(devices[i], &handle);
    if (count >= 0) libusb_free_device_list(devices, 1);
    if (!handle) fmt::print("open {}\n", libusb_error_name(error));
    return handle;
}

std::string take(ftdi_context* ftdi, libusb_device_handle* handle)
{
    const int results[] = {
        libusb_claim_interface(handle, 0),  // the driver has it
        libusb_detach_kernel_driver(handle, 0),
        libusb_set_configuration(handle, 1),
        libusb_claim_interface(handle, 0),
        libusb_set_interface_alt_setting(handle, 0, 0),
        ftdi_usb_reset(ftdi),
        libusb_release_interface(handle, 0),
        libusb_attach_kernel_driver(handle, 0),
        libusb_reset_device(handle),
    };
    return fmt::format("{}", fmt::join(results, " "));
}

std::string step(ftdi_context* ftdi, libusb_device_handle* handle, const std::string& name,
                 const std::string& value)
{
    const auto number = static_cast<int>(std::strtoul(value.c_str(), nullptr, 16));
    if (name == "mode")
        return outcome(ftdi, ftdi_set_bitmode(ftdi, static_cast<uint8_t>(number & 0xFF),
                                              static_cast<uint8_t>(number >> 8)));
    if (name == "word") {
        uint16_t word = 0;
        const int result = ftdi_read_eeprom_location(ftdi, number, &word);
        return result == 0 ? fmt::format("{:04X}", word) : outcome(ftdi, result);
    }
    if (name == "pins") {
        uint8_t pins = 0;
        const int result = ftdi_read_pins(ftdi, &pins);
        return result == 0 ? fmt::format("{:02X}", pins) : outcome(ftdi, result);
    }
    if (name == "image") {
        const int result = ftdi_read_eeprom(ftdi);
        return outcome(ftdi, result < 0 ? result : ftdi_eeprom_decode(ftdi, 0));
    }
    if (name == "serial") {
        unsigned char text[64] = "";
        const int size = libusb_get_string_descriptor_ascii(handle, 3, text, sizeof text);
        return size > 0 ? reinterpret_cast<char*>(text) : libusb_error_name(size);
    }
    if (name == "say") {
        const size_t rate = value.find(',') + 1;
        const size_t packet = value.find(',', rate) + 1;
        const SerialClient line(value.substr(0, rate - 1),
                                static_cast<unsigned>(std::atoi(value.c_str() + rate)));
        line.say(value.substr(packet));
        return line.hear();
    }
    return name == "take" ? take(ftdi, handle) : "?";
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 2) return 2;
    const std::unique_ptr<ftdi_context, decltype(&ftdi_free)> ftdi(ftdi_new(), &ftdi_free);
    libusb_device_handle* const handle = ftdi ? open(ftdi->usb_ctx, std::atoi(argv[1])) : nullptr;
    if (!handle) return 1;
    ftdi_set_usbdev(ftdi.get(), handle);
    ftdi->type = TYPE_R;
    for (int i = 2; i < argc; ++i) {
        const std::string text = argv[i];
        const size_t equals = std::min(text.find('='), text.size());
        const std::string value = text.substr(std::min(equals + 1, text.size()));
        fmt::print("{} {}\n", text, step(ftdi.get(), handle, text.substr(0, equals), value));
    }
    ftdi_set_usbdev(ftdi.get(), nullptr);  // closed by us, not with the context
    libusb_close(handle);
    return 0;
}
