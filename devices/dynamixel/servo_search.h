#pragma once

#include <optional>
#include <string>
#include <vector>

#include "common/error.h"

namespace quill::dynamixel
{

struct FoundServo
{
    int id = 0;
    int baudNumber = 0;
    int model = 0;  ///< register 0: 12 AX-12, 29 MX-28, 310 MX-64
};

/// Finds the servos of a bus at one bit rate: by a ping to all (Dynamixel protocol 1.0, instruction
/// 1 to ID 254), which not every servo answers and where answers may collide, and by reading
/// registers 0 and 3 of those that answered and of IDs 1 and 2. Some 100 ms. Servos that do not
/// answer are no failure.
/// @param baudNumber  as of register 4
/// @param found       appended to, by ID
[[nodiscard]] std::optional<Error> searchServos(const std::string& device, int baudNumber,
                                                std::vector<FoundServo>* found);

}  // namespace quill::dynamixel
