#pragma once

#include <csignal>
#include <functional>

#include "common/export.h"

/// Assertions are for our own mistakes and for values that cannot be what the code was promised,
/// never for what a device or a file did.
namespace quill
{

/// Receives a failed check. @return whether the caller shall stop at a breakpoint trap.
using AssertionHandler =
    std::function<bool(const char* file, int line, const char* function, const char* message)>;

/// Reports a failed check to the handler in force. The default one writes file, line, function and
/// message to standard error and says stop.
/// @param format  printf-style, begins with "Assertion failed: "
/// @return true: the caller raises the breakpoint trap; false: it goes on
QUILL_API bool handleAssertion(const char* file, int line, const char* function, const char* format,
                               ...) __attribute__((format(printf, 4, 5)));

/// Installs a handler for the process; an empty one brings the default back.
/// @return the handler before, empty for the default
QUILL_API AssertionHandler setAssertionHandler(AssertionHandler handler);

}  // namespace quill

/// With no debugger attached the process ends here; under one it can be continued.
#define QUILL_BREAKPOINT() ::std::raise(SIGTRAP)

/// Checks a condition; the message is the condition itself.
#define QUILL_ASSERT(condition)                                                               \
    do {                                                                                      \
        if (!(condition) && ::quill::handleAssertion(__FILE__, __LINE__, __PRETTY_FUNCTION__, \
                                                     "Assertion failed: %s", #condition))     \
            QUILL_BREAKPOINT();                                                               \
    } while (false)

/// Checks a condition; the message is a printf-style text of its own (a literal) and its values.
#define QUILL_ASSERT_MESSAGE(condition, ...)                                                  \
    do {                                                                                      \
        if (!(condition) && ::quill::handleAssertion(__FILE__, __LINE__, __PRETTY_FUNCTION__, \
                                                     "Assertion failed: " __VA_ARGS__))       \
            QUILL_BREAKPOINT();                                                               \
    } while (false)
