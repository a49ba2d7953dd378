#pragma once

#include "common/logging.h"

/// The log category of the tool, and the levels it uses.
constexpr const char* kLogCategory = "visca_control";
using quill::kFailure;
using quill::kResult;
using quill::kTrace;
using quill::kWarning;
