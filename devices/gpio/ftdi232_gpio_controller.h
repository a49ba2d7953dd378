#pragma once

#include <memory>
#include <string>

#include "common/recursive_mutex.h"
#include "devices/gpio/gpio_controller.h"

namespace quill
{

class FT232R;

/// The pins CBUS0 to CBUS3 of an FT232R, the chip of many USB serial adapters (chip maker's
/// application note on CBUS bit bang). The tty of the same adapter stays usable meanwhile.
///
/// One request sets all four pins and none can be read back: this keeps what it has driven, so that
/// a pin stays driven while another one is set. Pins that it was not asked for are inputs from the
/// first setValue() on, also where an earlier program drove them. The pins keep their levels when
/// the object goes and the program ends, until the adapter loses its USB power.
///
/// Failures are logged with cause and remedy at level 3, category "gpio".
class FTDI232GPIOController : public GPIOController,
                              public std::enable_shared_from_this<FTDI232GPIOController>
{
  public:
    /// Opens the FT232R that a tty belongs to.
    /// @param device  device node of the tty or a link to it
    /// @param mutex   held during each request to the chip; empty: not shared with anything else
    /// @return never empty
    /// @throw GPIOError  no FT232R behind the path, no permission, unplugged
    static std::shared_ptr<FTDI232GPIOController> create(
        const std::string& device, const std::shared_ptr<RecursiveMutex>& mutex);

    ~FTDI232GPIOController() override;

    /// Prepares a pin, again if it has been before. An output is driven from its setValue() on,
    /// so that it passes through no level that nobody asked for. A pin that the chip's EEPROM uses
    /// for something else does not follow; a level-3 line says so, and it is driven all the same.
    /// @param pin   0..3
    /// @param name  what the pin is used for
    /// @return never empty
    /// @throw GPIOError  there is no such pin: nothing was sent; or the chip is gone
    std::shared_ptr<GPIOPin> configureCBusPin(unsigned int pin, Direction direction,
                                              const std::string& name);

    bool setValue(unsigned int pin, int value) override;

  private:
    FTDI232GPIOController(const std::string& device, std::shared_ptr<RecursiveMutex> mutex);
    void warnUnlessIoMode(unsigned int pin);
    std::unique_lock<RecursiveMutex> lock() const;

    std::string m_device;
    std::shared_ptr<RecursiveMutex> m_mutex;
    std::unique_ptr<FT232R> m_chip;
    unsigned int m_outputs = 0;  ///< a bit for each pin
    unsigned int m_levels = 0;
    unsigned int m_driven = 0;  ///< outputs that have been given a level
    unsigned int m_checked = 0;
};

}  // namespace quill
