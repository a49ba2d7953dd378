#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "common/time.h"

namespace rigsim
{

/// What a fault's value means and whether it may be left out.
enum class FaultValue {
    None,
    Milliseconds,  ///< whole
    Seconds,       ///< decimals allowed
    Count,         ///< whole, from 1
    ServoId,       ///< 0..253
    StatusLevel,   ///< of a servo, 0..2
    ReturnDelay,   ///< of a servo, 0..254 units of 2 us
    CbusPin,       ///< 0..3
};

struct FaultKind
{
    const char* name;  ///< DEVICE.NAME
    FaultValue value;
    std::optional<int64_t> fallback;  ///< ms or number, where the value may be left out
    const char* description;
};

/// Every fault there is, devices together.
const std::vector<FaultKind>& faultKinds();

/// "camera.slow=MS": the fault as it is typed.
std::string faultSyntax(const FaultKind& kind);

/// The faults a rig has.
class Faults
{
  public:
    Faults() = default;
    /// For faults known to be right: Faults({"camera.slow=300", "camera.noise"}).
    /// @throw std::invalid_argument  with the message of add()
    Faults(std::initializer_list<const char*> texts);

    /// Adds DEVICE.NAME or DEVICE.NAME=VALUE.
    /// @return what is wrong with it, naming the nearest valid fault; nothing when it was taken
    std::optional<std::string> add(const std::string& text);

    // By the full name, which must be in the list (std::logic_error otherwise: a typing mistake
    // in a model would be a fault that never shows).
    bool has(const std::string& name) const;
    std::optional<int64_t> count(const std::string& name) const;
    std::optional<quill::Duration> span(const std::string& name) const;

  private:
    std::map<std::string, int64_t> m_values;
};

}  // namespace rigsim
