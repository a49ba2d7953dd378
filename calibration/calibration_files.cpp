#include "calibration/calibration_files.h"

// The assembler copies the file into the read-only data; CALIBRATION_FOLDER comes from the build.
#define EMBED_FILE(symbol, name)                                                             \
    __asm__(".pushsection .rodata, \"a\"\n" #symbol "_begin:\n.incbin \"" CALIBRATION_FOLDER \
            "/" name "\"\n" #symbol "_end:\n.byte 0\n.popsection\n");                        \
    extern "C" __attribute__((visibility("hidden"))) const char symbol##_begin[];            \
    extern "C" __attribute__((visibility("hidden"))) const char symbol##_end[]

EMBED_FILE(embedded_servos_ini, "servos.ini");

namespace calibration
{

std::string_view embeddedFile(std::string_view name)
{
    if (name != "servos.ini") return {};
    return {embedded_servos_ini_begin,
            static_cast<size_t>(embedded_servos_ini_end - embedded_servos_ini_begin)};
}

}  // namespace calibration

void embedded_calibration_files_dummy() {}
