#pragma once

#include "common/logging.h"

/// The log category of the tool, and the levels it uses. A record carries the member function of
/// HardwareDriver that runs the command: its helpers log in its name.
constexpr const char* kLogCategory = "visca_control";
using quill::kFailure;
using quill::kResult;
using quill::kTrace;
using quill::kWarning;
