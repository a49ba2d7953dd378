#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

namespace quill
{

/// GPIO pins cannot be reached or used. The library has logged cause and remedy.
class GPIOError : public std::runtime_error
{
  public:
    using std::runtime_error::runtime_error;
};

/// A chip with pins that a program drives or reads.
class GPIOController
{
  public:
    enum Direction : int {
        Output = 0,
        Input = 1,
    };

    virtual ~GPIOController() = default;

    /// Drives a pin: low for 0, high for every other value.
    /// @param pin  of a pin that is configured as output
    /// @return whether the pin has the level now; the cause of a failure is logged
    virtual bool setValue(unsigned int pin, int value) = 0;
};

/// One configured pin. Keeps its controller.
class GPIOPin
{
  public:
    GPIOPin(std::shared_ptr<GPIOController> controller, uint32_t number, std::string name)
        : m_controller(std::move(controller)), m_number(number), m_name(std::move(name))
    {}

    /// Never empty.
    const std::shared_ptr<GPIOController>& controller() const { return m_controller; }
    uint32_t number() const { return m_number; }
    /// What the pin is used for.
    const std::string& name() const { return m_name; }

  private:
    std::shared_ptr<GPIOController> m_controller;
    uint32_t m_number;
    std::string m_name;
};

}  // namespace quill
