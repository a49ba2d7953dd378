#include "common/properties.h"

// Declares as a text the setting that other_module.cpp defines as a number: must not link.
QUILL_DECLARE_PROPERTY(std::string, p_other_speed);

int main() {}
