#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "common/error.h"

namespace quill::laser
{

constexpr int kBitRate = 9600;

/// Of channel 1. Source: relay maker's command table.
std::vector<uint8_t> order(bool on);

/// Logs a failure at level 3, category "laser". @return whether there is none
bool report(bool on, const std::optional<Error>& error);

}  // namespace quill::laser
