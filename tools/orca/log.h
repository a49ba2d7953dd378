#pragma once

#include "common/logging.h"

/// The log category of the tool, and the levels it uses.
constexpr const char* kLogCategory = "visca_control";
constexpr int kFailure = 2;
constexpr int kWarning = 3;
constexpr int kResult = 4;
constexpr int kTrace = 5;
