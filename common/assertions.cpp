#include "common/assertions.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <utility>

#include "common/text.h"

namespace quill
{
namespace
{

struct Installed
{
    std::mutex mutex;
    AssertionHandler handler;
};

Installed& installed()
{
    static Installed object;
    return object;
}

bool writeAndStop(const char* file, int line, const char* function, const char* message)
{
    const char* lineEnd = endsWithLineEnd(message) ? "" : "\n";
    std::fprintf(stderr, "%s:%d: %s: %s%s", file, line, function, message, lineEnd);
    return true;
}

}  // namespace

bool handleAssertion(const char* file, int line, const char* function, const char* format, ...)
{
    va_list values;
    va_start(values, format);
    const std::string message = formatText(format, values);
    va_end(values);

    AssertionHandler handler;
    {
        const std::lock_guard<std::mutex> lock(installed().mutex);
        handler = installed().handler;
    }
    return (handler ? handler : writeAndStop)(file, line, function, message.c_str());
}

AssertionHandler setAssertionHandler(AssertionHandler handler)
{
    const std::lock_guard<std::mutex> lock(installed().mutex);
    return std::exchange(installed().handler, std::move(handler));
}

}  // namespace quill
