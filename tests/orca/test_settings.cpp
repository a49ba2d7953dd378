#include "common/properties.h"

// The settings that the commands read, with the defaults of the program.
QUILL_DEFINE_PROPERTY(int, p_dxl_baudnum, "dxlbaudnum", 34);
QUILL_DEFINE_PROPERTY(int, p_margin1pos, "margin1pos", 5);
QUILL_DEFINE_PROPERTY(int, p_margin1neg, "margin1neg", -5);
QUILL_DEFINE_PROPERTY(int, p_margin2, "margin2", 1);
