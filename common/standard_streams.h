#pragma once

#include "common/export.h"

namespace quill
{

/// Makes standard output and standard error fit for a program that moves hardware. To be called
/// first of all, by the main thread. From then on `stdout` and `stderr`, whoever writes to them,
///
/// - show a line of standard output as soon as it is complete;
/// - wait for a slow reader until an order to end the run comes (common/interrupt.h), and hardly
///   any longer;
/// - order the end of the run when they cannot be written. For standard output standard error tells
///   the cause: "standard output: No space left on device". What is written afterwards is dropped.
QUILL_API void guardStandardStreams();

}  // namespace quill
