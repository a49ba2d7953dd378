#include <algorithm>
#include <cstdio>

#include "devices/dynamixel/dxl_codec.h"
#include "log.h"
#include "scan_progress.h"
#include "servo_bus.h"
#include "settings.h"
#include "tools/orca/hardware_driver.h"

namespace reg = quill::dynamixel;

namespace
{

/// A servo counts as found where its own registers say the ID and the baud number that it was
/// addressed with: neither a damaged answer nor one at a neighbouring bit rate does.
bool isServoAt(DxlDevice* bus, int id, int baudNumber, const char* function)
{
    const int realId = bus->dxl_read_byte(id, reg::kId);
    const int realBaudNumber = bus->dxl_read_byte(id, reg::kBaudNumber);
    QUILL_LOG_FROM(function, kTrace, kLogCategory)
        << "rid=" << realId << " rbaud=" << realBaudNumber;
    return realBaudNumber == baudNumber && realId == id;
}

void printServo(DxlDevice* bus, int id, int baudNumber)
{
    std::fprintf(stderr, "Device ID %d, baudnum=%d\n", id, baudNumber);
    const int firmware = bus->dxl_read_byte(id, reg::kFirmwareVersion);
    const int model = bus->dxl_read_word(id, reg::kModelNumber);
    std::fprintf(stderr, "  Model %04x firmware %02x\n", static_cast<unsigned>(model),
                 static_cast<unsigned>(firmware));
    std::fprintf(stderr, "  CW limit %d\n", bus->dxl_read_word(id, reg::kCwAngleLimit));
    std::fprintf(stderr, "  CCW limit %d\n", bus->dxl_read_word(id, reg::kCcwAngleLimit));
    std::fprintf(stderr, "  High temp %d\n", bus->dxl_read_byte(id, reg::kHighestTemperature));
    const int highVoltage = bus->dxl_read_byte(id, reg::kHighestVoltage);
    const int lowVoltage = bus->dxl_read_byte(id, reg::kLowestVoltage);
    std::fprintf(stderr, "  V range %.1fV-%.1fV\n", lowVoltage * 0.1, highVoltage * 0.1);
    std::fprintf(stderr, "  Max torque %d\n", bus->dxl_read_word(id, reg::kMaxTorque));
    std::fprintf(stderr, "  Current position %d\n", bus->dxl_read_word(id, reg::kPresentPosition));
}

/// @return false when the adapter is gone
bool scanIds(DxlDevice* bus, int baudNumber, int lastId, ScanProgress* progress,
             const char* function)
{
    for (int id = 0; id <= lastId; ++id) {
        progress->show(baudNumber, id);
        QUILL_LOG_FROM(function, kTrace, kLogCategory) << "id=" << id;
        bus->setSilenceExpected(true);
        const bool found = isServoAt(bus, id, baudNumber, function);
        bus->setSilenceExpected(false);
        if (bus->isLineLost()) return false;
        if (!found) continue;
        progress->erase();
        printServo(bus, id, baudNumber);
    }
    return true;
}

}  // namespace

void HardwareDriver::dxlDump(int maxbaud, int maxid)
{
    const int lastId = std::min<int>(maxid, reg::kLastServoId);
    if (lastId < maxid && maxbaud > 0)
        QUILL_LOGF(kWarning, kLogCategory, "No servo has an ID above %d: the scan ends there.",
                   lastId);
    ScanProgress progress(maxbaud, lastId);
    for (int baudNumber = 1; baudNumber <= maxbaud; ++baudNumber) {
        QUILL_LOG(kTrace, kLogCategory) << "baudnum=" << baudNumber;
        DxlDevice bus;
        if (!openRegisters(&bus, devicePath, baudNumber, __PRETTY_FUNCTION__)) return;
        if (scanIds(&bus, baudNumber, lastId, &progress, __PRETTY_FUNCTION__)) continue;
        progress.erase();
        QUILL_LOGF(kFailure, kLogCategory, "Lost the servo bus at %s: the scan ends.",
                   devicePath.c_str());
        return;
    }
}

void HardwareDriver::dxlGetByte(int id, int addr)
{
    DxlDevice bus;
    if (!openRegisters(&bus, devicePath, p_dxl_baudnum(), __PRETTY_FUNCTION__)) return;
    const int value = bus.dxl_read_byte(id, addr);
    std::fprintf(stderr, "ID %d Addr: %d value=%d 0x%02x\n", id, addr, value,
                 static_cast<unsigned>(value));
}

void HardwareDriver::dxlGetWord(int id, int addr)
{
    DxlDevice bus;
    if (!openRegisters(&bus, devicePath, p_dxl_baudnum(), __PRETTY_FUNCTION__)) return;
    const int value = bus.dxl_read_word(id, addr);
    std::fprintf(stderr, "ID %d Addr: %d value=%d 0x%04x\n", id, addr, value,
                 static_cast<unsigned>(value));
}

void HardwareDriver::dxlSetByte(int id, int addr, int value)
{
    DxlDevice bus;
    if (!openRegisters(&bus, devicePath, p_dxl_baudnum(), __PRETTY_FUNCTION__)) return;
    bus.dxl_write_byte(id, addr, value);
}

void HardwareDriver::dxlSetWord(int id, int addr, int value)
{
    DxlDevice bus;
    if (!openRegisters(&bus, devicePath, p_dxl_baudnum(), __PRETTY_FUNCTION__)) return;
    bus.dxl_write_word(id, addr, value);
}

void HardwareDriver::dxlSetPos(int id, int pos)
{
    dxlSetWord(id, reg::kGoalPosition, pos);
}
