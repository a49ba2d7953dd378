#pragma once

#include <array>
#include <optional>
#include <vector>

#include "tools/rigsim/faults.h"
#include "tools/rigsim/ft232r_image.h"

namespace rigsim
{

/// The setup packet of a control transfer.
struct UsbSetup
{
    uint8_t requestType = 0, request = 0;
    uint16_t value = 0, index = 0, length = 0;
};

/// What comes of a control transfer.
struct UsbReply
{
    int error = 0;  ///< errno; EPIPE: the chip stalls, ENODEV: it has gone
    Bytes data = {};
};

/// What a program asks of the system for an adapter, beside transfers.
enum class UsbAction { Claim, Release, DetachDriver, AttachDriver, Configure, Reset };

/// One of the pins CBUS0 to CBUS3.
struct CbusPin
{
    int function = 0;       ///< in the EEPROM: 0..15
    bool isOutput = false;  ///< as ordered, whether the function lets it or not
    bool level = true;      ///< on the pin; one that nothing drives is pulled up
};

struct AdapterState
{
    std::array<CbusPin, 4> pins;
    int bitMode = 0;  ///< 0: serial port only, 20h: CBUS pins too
    int latencyMs = 16;
    int eepromWrites = 0;                   ///< words, whether the EEPROM took them or not
    int requests = 0;                       ///< to the chip, descriptors not counted
    std::vector<uint16_t> bitModeRequests;  ///< wValue of the last 1000, refused ones too
    // What programs have asked of the system, granted or not.
    int claims = 0, releases = 0, driverDetaches = 0;
    int configurations = 0;  ///< configuration or setting of the interface chosen
    int resets = 0;          ///< of the USB port
    bool hasDriver = true;   ///< the serial one
    bool isPlugged = true;
};

/// The identity of the rig's adapter with that number, which is its serial number too; another chip
/// where the fault cbus.other-chip says so.
UsbIdentity adapterIdentity(const Faults& faults, int number);

/// The FT232R of a USB serial adapter as its control endpoint shows it: EEPROM, bit mode and CBUS
/// pins (chip maker's application notes). A pin is driven where the EEPROM puts it in I/O mode,
/// CBUS mode is on and its direction is output; otherwise it is pulled up and reads 1. The bit mode
/// holds until power is lost or the USB port is reset.
class Ft232rModel
{
  public:
    explicit Ft232rModel(const UsbIdentity& identity, const Faults& faults = {});

    /// A control transfer. No order of the chip carries data.
    UsbReply control(const UsbSetup& setup);

    /// @return 0 or errno: EBUSY while the driver has the interface, ENODATA when it has not
    int act(UsbAction action);

    /// Whether a fault has pulled it.
    bool isUnplugged() const;

    AdapterState state() const;

  private:
    UsbReply tell(const UsbSetup& setup) const;
    UsbReply describe(const UsbSetup& setup) const;
    UsbReply order(const UsbSetup& setup);
    UsbReply setBitMode(uint16_t value);
    UsbReply writeEeprom(const UsbSetup& setup);
    int functionOf(size_t pin) const;
    bool isOutput(size_t pin) const;
    bool levelOf(size_t pin) const;
    uint8_t pinLevels() const;

    UsbIdentity m_identity;
    Bytes m_eeprom;
    uint16_t m_functions;  // that the pins have had since the plug-in
    bool m_refuses, m_ignoresWrites, m_isCutByWrite;
    std::optional<int64_t> m_lastRequest;  // before it is pulled
    uint8_t m_bitMode = 0, m_bitMask = 0;
    AdapterState m_counts;  // pins and bit mode are not kept there
};

}  // namespace rigsim
