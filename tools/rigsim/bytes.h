#pragma once

#include <cstdint>
#include <vector>

namespace rigsim
{

using Bytes = std::vector<uint8_t>;

}  // namespace rigsim
