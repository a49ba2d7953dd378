#pragma once

#include "common/export.h"

namespace quill
{

/// Guards the standard streams (common/standard_streams.h), binds the static properties and reads
/// the command line:
///
///     -t, --set NAME=VALUE  gives a setting a value; the last one given stands
///     -v, -q                one level of the log more or less, may be repeated
///     --log-level N         shows the log up to level N
///     --log-break-level N   a log record of the formatted form, up to level N, stops the program
///     --help, --version     on standard output, status 0, or 1 when it cannot be written
///
/// and what the program has declared as ProgramOption (common/program_declaration.h).
///
/// A mistake ends the process with status 2 and at most four lines on standard error that name the
/// culprit and what is valid.
/// @param argc, argv  those of main; what was read is taken out
/// @param strict      true: an argument that is no option is a mistake; false: such arguments are
///                    left in argv for the program
QUILL_API void initCommandLine(int* argc, char*** argv, bool strict);

}  // namespace quill
