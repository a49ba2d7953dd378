#include "common/standard_streams.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <utility>

#include "common/interrupt.h"
#include "common/time.h"

namespace quill
{
namespace
{

/// What a reader gets, once in all, to make room when the run is to end: a terminal that is only
/// slow still shows the last lines.
constexpr Duration kLastPatience = milliseconds(200);

/// One of the two, behind the stream that the C library shows. Used under the lock of that stream.
struct Output
{
    int descriptor;
    Duration patience = kLastPatience;
    bool isLost = false;
};

/// @return whether there is room for PIPE_BUF bytes, or a failure that a write will tell; false:
/// the run is to end, and nobody reads
bool awaitRoom(Output* output)
{
    pollfd waiting[] = {{output->descriptor, POLLOUT, 0}, {endDescriptor(), POLLIN, 0}};
    while (::poll(waiting, 2, -1) < 0)
        if (errno != EINTR) return true;
    if (waiting[0].revents != 0) return true;
    const timespec patience = toTimespec(std::exchange(output->patience, Duration()));
    return ::ppoll(waiting, 1, &patience, nullptr) > 0;
}

void lose(Output* output, int error)
{
    output->isLost = true;
    if (output->descriptor == STDOUT_FILENO)
        std::fprintf(stderr, "standard output: %s\n", std::strerror(error));
    endForLostOutput(error);
}

/// All is written, or what is not has been dealt with: the stream has nothing to try again.
ssize_t writeAll(void* cookie, const char* bytes, size_t size)
{
    auto* const output = static_cast<Output*>(cookie);
    for (size_t sent = 0; sent < size && !output->isLost;) {
        if (!awaitRoom(output)) break;
        // No more at once than a pipe with any room takes: a write that blocks heeds no interrupt.
        const size_t piece = std::min<size_t>(size - sent, PIPE_BUF);
        const ssize_t count = ::write(output->descriptor, bytes + sent, piece);
        if (count >= 0)
            sent += static_cast<size_t>(count);
        else if (errno != EINTR && errno != EAGAIN)
            lose(output, errno);
    }
    return static_cast<ssize_t>(size);
}

/// @return null when there is no memory for a stream: the one that is there must do
std::FILE* openStream(Output* output, int buffering)
{
    cookie_io_functions_t functions{};
    functions.write = writeAll;
    std::FILE* const stream = ::fopencookie(output, "w", functions);
    if (stream != nullptr) std::setvbuf(stream, nullptr, buffering, BUFSIZ);
    return stream;
}

}  // namespace

void guardStandardStreams()
{
    static Output out{STDOUT_FILENO};
    static Output err{STDERR_FILENO};
    // To the C library of GNU the two are variables like any others.
    if (std::FILE* const stream = openStream(&out, _IOLBF)) stdout = stream;
    if (std::FILE* const stream = openStream(&err, _IONBF)) stderr = stream;
}

}  // namespace quill
