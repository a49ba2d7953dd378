#include "device_list.h"

#include <algorithm>
#include <cstdio>
#include <vector>

#include "common/text.h"
#include "devices/serial/serial_devices.h"

namespace
{

using Row = std::vector<std::string>;

std::string usbNumbers(const quill::UsbDevice& usb)
{
    char text[16];
    std::snprintf(text, sizeof text, "%04x:%04x", usb.vendor, usb.product);
    return text;
}

Row rowOf(const quill::SerialDevice& device)
{
    const quill::UsbDevice usb = device.usb.value_or(quill::UsbDevice());
    return {device.path,
            device.usb ? usbNumbers(usb) : "",
            usb.productName,
            usb.serialNumber,
            device.mayOpen ? "yes" : "no",
            device.holder,
            device.stablePath,
            usb.sysPath};
}

void printTable(std::vector<Row> rows)
{
    std::vector<size_t> widths(rows.front().size());
    for (Row& row : rows) {
        for (size_t i = 0; i < row.size(); ++i) {
            row[i] = row[i].empty() ? "-" : quill::escapeControls(row[i]);
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    for (const Row& row : rows) {
        std::string line;
        for (size_t i = 0; i + 1 < row.size(); ++i)
            line += row[i] + std::string(widths[i] - row[i].size() + 2, ' ');
        std::puts((line + row.back()).c_str());
    }
}

}  // namespace

int listDevices()
{
    const auto devices = quill::serialDevices();
    if (devices.empty()) {
        std::puts("no serial device; is the rig plugged in?");
        return 0;
    }
    std::vector<Row> rows = {{"DEVICE", "USB", "PRODUCT", "SERIAL", "MAY OPEN", "IN USE BY",
                              "STABLE NAME", "USB DEVICE"}};
    for (const auto& device : devices) rows.push_back(rowOf(device));
    printTable(rows);
    return 0;
}
