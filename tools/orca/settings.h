#pragma once

#include "common/properties.h"

// The settings that the commands read; rigtool.cpp defines them.
QUILL_DECLARE_PROPERTY(int, p_dxl_baudnum);
QUILL_DECLARE_PROPERTY(int, p_margin1pos);
QUILL_DECLARE_PROPERTY(int, p_margin1neg);
QUILL_DECLARE_PROPERTY(int, p_margin2);
