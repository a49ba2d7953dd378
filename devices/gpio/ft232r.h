#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "common/error.h"

struct ftdi_context;

namespace quill
{

/// The USB side of an FT232R behind a tty: vendor requests beside the kernel's serial driver, which
/// keeps the interface, so that the tty stays and can be used at the same time. Every request ends
/// within a second. The destructor closes the USB device and leaves the pins as they are.
class FT232R
{
  public:
    FT232R();
    ~FT232R();
    FT232R(const FT232R&) = delete;
    FT232R& operator=(const FT232R&) = delete;

    /// Opens the chip that the tty `path` belongs to, found by its place on the USB.
    [[nodiscard]] std::optional<Error> open(const std::string& path);

    /// Function of CBUS pin 0..3, from the EEPROM (request 0x90): 0..15, ft232r::kIoMode where
    /// a program may drive it.
    [[nodiscard]] std::optional<Error> readCbusFunction(unsigned int pin, int* function);

    /// One of the EEPROM's words (requests 0x90 and 0x91). Written ones count from the next plug-in
    /// on. @param address  0..63
    [[nodiscard]] std::optional<Error> readEeprom(int address, uint16_t* word);
    [[nodiscard]] std::optional<Error> writeEeprom(int address, uint16_t word);

    /// Around words that are written: the latency timer is what the chip maker's own tool sets.
    /// @param latencyMs  what it was before
    [[nodiscard]] std::optional<Error> beginEepromWrite(int* latencyMs);
    [[nodiscard]] std::optional<Error> endEepromWrite(int latencyMs);

    /// Sets all four pins at once (request 0x0B, mode 0x20: CBUS bit bang).
    /// @param outputs  a bit for each pin that is driven; the others float
    /// @param levels   a bit for each pin that is high
    [[nodiscard]] std::optional<Error> setCbusPins(unsigned int outputs, unsigned int levels);

  private:
    [[nodiscard]] std::optional<Error> openUsb(int bus, int address, const std::string& node);
    Error failure(const std::string& step) const;

    struct Free
    {
        void operator()(ftdi_context* context) const;
    };
    std::unique_ptr<ftdi_context, Free> m_context;
    std::string m_path;
};

}  // namespace quill
