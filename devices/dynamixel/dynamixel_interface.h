#pragma once

#include <memory>
#include <stdexcept>
#include <string>

#include "common/recursive_mutex.h"
#include "devices/dynamixel/dynamixel_motor.h"

namespace quill
{

/// A servo bus cannot be opened; what() names device, cause and remedy.
class DynamixelError : public std::runtime_error
{
  public:
    using std::runtime_error::runtime_error;
};

/// A bus of Dynamixel servos (protocol 1.0) on one serial line. The line is closed when this and
/// all its motors are released. One thread, or several that share the lock.
class DynamixelInterface
{
  public:
    /// @param device   path of the serial line
    /// @param baudnum  baud number n, 2,000,000 / (n + 1) bit/s, as DxlDevice takes it
    /// @param lock     held during each exchange with a servo; empty: not shared with anything else
    /// @return never empty
    /// @throw DynamixelError
    static std::shared_ptr<DynamixelInterface> open(const std::string& device, int baudnum,
                                                    const std::shared_ptr<RecursiveMutex>& lock);

    virtual ~DynamixelInterface() = default;

    /// @param id  0..253; whether a servo has it shows at the first operation
    /// @return never empty
    virtual std::shared_ptr<DynamixelMotor> getMotor(int id) = 0;

    /// Whether the adapter is gone (unplugged): no later operation of its motors can succeed.
    virtual bool isLineLost() const = 0;
};

}  // namespace quill
