#include "devices/gpio/ftdi232_gpio_controller.h"

#include "common/logging.h"
#include "devices/gpio/ft232r_codec.h"
#include "ft232r.h"

namespace quill
{
namespace
{

constexpr const char* kCategory = "gpio";

std::string pinName(unsigned int pin)
{
    return "CBUS" + std::to_string(pin);
}

/// The cause goes to the log here, once.
void throwIf(const std::optional<Error>& error)
{
    if (!error) return;
    QUILL_LOG(kWarning, kCategory) << error->text();
    throw GPIOError(error->text());
}

}  // namespace

FTDI232GPIOController::FTDI232GPIOController(const std::string& device,
                                             std::shared_ptr<RecursiveMutex> mutex)
    : m_device(device), m_mutex(std::move(mutex)), m_chip(std::make_unique<FT232R>())
{}

FTDI232GPIOController::~FTDI232GPIOController() = default;

std::shared_ptr<FTDI232GPIOController> FTDI232GPIOController::create(
    const std::string& device, const std::shared_ptr<RecursiveMutex>& mutex)
{
    std::shared_ptr<FTDI232GPIOController> controller(new FTDI232GPIOController(device, mutex));
    const auto guard = controller->lock();
    throwIf(controller->m_chip->open(device));
    return controller;
}

std::unique_lock<RecursiveMutex> FTDI232GPIOController::lock() const
{
    return m_mutex ? std::unique_lock(*m_mutex) : std::unique_lock<RecursiveMutex>();
}

std::shared_ptr<GPIOPin> FTDI232GPIOController::configureCBusPin(unsigned int pin,
                                                                 Direction direction,
                                                                 const std::string& name)
{
    if (pin >= ft232r::kCbusPins)
        throwIf(Error{m_device, "configure pin " + std::to_string(static_cast<int>(pin)), 0,
                      "there is no such pin", "the CBUS pins are 0 to 3"});
    const auto guard = lock();
    warnUnlessIoMode(pin);
    const unsigned int bit = 1U << pin;
    m_outputs = direction == Output ? m_outputs | bit : m_outputs & ~bit;
    if (direction != Output) {
        m_driven &= ~bit;
        throwIf(m_chip->setCbusPins(m_driven, m_levels));
    }
    return std::make_shared<GPIOPin>(shared_from_this(), pin, name);
}

void FTDI232GPIOController::warnUnlessIoMode(unsigned int pin)
{
    const unsigned int bit = 1U << pin;
    if ((m_checked & bit) != 0) return;
    int function = ft232r::kIoMode;
    throwIf(m_chip->readCbusFunction(pin, &function));
    m_checked |= bit;
    if (function == ft232r::kIoMode) return;
    QUILL_LOG(kWarning, kCategory)
        << m_device << ": " << pinName(pin) << " does not follow: the chip's EEPROM makes it "
        << ft232r::cbusFunctionName(function) << " (rigsetup cbus --device " << m_device << " --io "
        << pin << " puts it into I/O mode)";
}

bool FTDI232GPIOController::setValue(unsigned int pin, int value)
{
    const auto guard = lock();
    const unsigned int bit = pin < ft232r::kCbusPins ? 1U << pin : 0;
    if ((m_outputs & bit) == 0) {
        QUILL_LOG(kWarning, kCategory)
            << m_device << ": " << pinName(pin) << " is not configured as an output: not set";
        return false;
    }
    const unsigned int levels = value != 0 ? m_levels | bit : m_levels & ~bit;
    if (const auto error = m_chip->setCbusPins(m_driven | bit, levels)) {
        QUILL_LOG(kWarning, kCategory) << error->text() << ": " << pinName(pin) << " is not set";
        return false;
    }
    m_driven |= bit;
    m_levels = levels;
    return true;
}

}  // namespace quill
