#include "devices/serial/serial_port.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <utility>

#include "common/interrupt.h"
#include "common/logging.h"
#include "devices/usb/node_holder.h"
#include "serial_settings.h"
#include "usb_adapter.h"

namespace quill
{
namespace
{

constexpr const char* kCategory = "serial";

/// Two ends up to 3 % apart still understand each other.
constexpr int kTolerancePercent = 3;

/// Between two looks at the driver's queue, for which poll() has no event: about a byte's time at
/// 9600 bit/s.
constexpr Duration kDrainInterval = milliseconds(1);

std::string busyRemedy(const std::string& path)
{
    const std::string holder = nodeHolder(path);
    return holder.empty()
               ? "another user's program holds it; sudo fuser -v " + path + " shows which"
               : "it is held by " + holder;
}

std::string remedyFor(int number, const std::string& path)
{
    switch (number) {
        case EACCES:
        case EPERM: return "add yourself to the group dialout and log in again";
        case ENOENT:
        case ENODEV:
        case ENXIO: return "is it plugged in? ls /dev/ttyUSB* /dev/ttyACM* shows what is";
        case EBUSY: return busyRemedy(path);
        case ENOTTY:
        case EISDIR: return "this is no serial line; ls /dev/ttyUSB* /dev/ttyACM* shows them";
        case EIO: return "unplugged?";
        default: return "";
    }
}

bool meansLineLost(int number)
{
    return number == EIO || number == ENODEV || number == ENXIO || number == EBADF;
}

}  // namespace

SerialPort::SerialPort() = default;

SerialPort::~SerialPort()
{
    close();
}

std::optional<Error> SerialPort::open(const std::string& path, int bitRate)
{
    close();
    m_path = path;
    auto error = openDescriptor();
    if (!error) error = lockForThisProcess();
    if (!error) error = setBitRate(bitRate);
    if (error)
        close();
    else
        discardInput();
    return error;
}

std::optional<Error> SerialPort::openDescriptor()
{
    // Not blocking: a line with modem control would otherwise wait for its carrier.
    m_fd = ::open(m_path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
    if (m_fd < 0) return systemError("open", errno);
    termios line{};
    if (::tcgetattr(m_fd, &line) != 0) return systemError("open", errno);
    // The system answers for the controlling terminal alone, by whichever name it was opened. Raw,
    // it would take neither Ctrl-C nor the next line of a shell.
    if (::tcgetsid(m_fd) >= 0)
        return Error{m_path, "open", 0, "it is the terminal that this program was started from",
                     remedyFor(ENOTTY, m_path)};
    return std::nullopt;
}

std::optional<Error> SerialPort::lockForThisProcess()
{
    // flock() holds against root too but only where everybody asks; TIOCEXCL is the reverse.
    if (::flock(m_fd, LOCK_EX | LOCK_NB) != 0)
        return systemError("open", errno == EWOULDBLOCK ? EBUSY : errno);
    if (::ioctl(m_fd, TIOCEXCL) != 0 && errno != ENOTTY) return systemError("lock", errno);
    return std::nullopt;
}

std::optional<Error> SerialPort::setBitRate(int bitRate)
{
    const std::string step = "set bit rate " + std::to_string(bitRate);
    const int number = setRawLine(m_fd, bitRate);
    if (number != 0) return systemError(step.c_str(), number);
    const int rate = UsbAdapter(m_path).bitRate(readBitRate(m_fd));
    if (std::abs(rate - bitRate) * 100LL <= bitRate * 1LL * kTolerancePercent) return std::nullopt;
    return Error{m_path, step, 0, "the adapter makes it " + std::to_string(rate),
                 "use an adapter that can do this rate"};
}

void SerialPort::close()
{
    if (m_fd < 0) return;
    m_lowLatency.reset();
    (void)::ioctl(m_fd, TIOCNXCL);  // best effort: the last close of a tty ends it anyway
    ::close(std::exchange(m_fd, -1));
}

void SerialPort::setLowLatency()
{
    if (isOpen() && !m_lowLatency) m_lowLatency = std::make_unique<LowLatency>(m_fd);
}

Duration SerialPort::latency() const
{
    return UsbAdapter(m_path).latency();
}

std::optional<Error> SerialPort::write(const uint8_t* bytes, size_t size, Time deadline)
{
    trace("->", bytes, size);
    for (size_t sent = 0; sent < size;) {
        if (auto error = waitFor(POLLOUT, "write", deadline)) return error;
        const ssize_t count = ::write(m_fd, bytes + sent, size - sent);
        if (count > 0) sent += static_cast<size_t>(count);
        if (count < 0 && errno != EINTR && errno != EAGAIN) return systemError("write", errno);
    }
    return std::nullopt;
}

std::optional<Error> SerialPort::drain(Time deadline)
{
    // tcdrain() alone would wait without an end on a line that takes nothing.
    for (int queued = 0;; sleep(kDrainInterval)) {
        if (::ioctl(m_fd, TIOCOUTQ, &queued) != 0) return systemError("drain", errno);
        if (queued == 0) break;
        if (Time::now() >= deadline) return timedOut("drain", ErrorKind::NotTaken);
    }
    while (::tcdrain(m_fd) != 0)  // the adapter's own buffer, some milliseconds
        if (errno != EINTR) return systemError("drain", errno);
    return std::nullopt;
}

std::optional<Error> SerialPort::readSome(uint8_t* buffer, size_t capacity, size_t* got,
                                          Time deadline)
{
    *got = 0;
    while (*got == 0) {
        if (auto error = waitFor(POLLIN, "read", deadline)) return error;
        const ssize_t count = ::read(m_fd, buffer, capacity);
        if (count == 0) return hungUp("read");  // pulled out: poll() would say "ready" for ever
        if (count < 0 && errno != EINTR && errno != EAGAIN) return systemError("read", errno);
        if (count > 0) *got = static_cast<size_t>(count);
    }
    trace("<-", buffer, *got);
    return std::nullopt;
}

void SerialPort::discardInput()
{
    (void)::tcflush(m_fd, TCIFLUSH);  // best effort: a line that is lost says so at the next read
}

std::optional<Error> SerialPort::waitFor(short events, const char* step, Time deadline)
{
    for (;;) {
        pollfd waiting[] = {{m_fd, events, 0}, {interruptDescriptor(), POLLIN, 0}};
        const timespec timeout = toTimespec(deadline - Time::now());
        const int ready = ::ppoll(waiting, 2, &timeout, nullptr);
        if (ready < 0 && errno == EINTR) continue;
        if (ready < 0) return systemError(step, errno);
        if (waiting[1].revents != 0) endInterrupted();
        if (ready == 0)
            return timedOut(step, events == POLLIN ? ErrorKind::Silence : ErrorKind::NotTaken);
        // What arrived before the plug was pulled is still read.
        if ((waiting[0].revents & events) != 0) return std::nullopt;
        return hungUp(step);
    }
}

Error SerialPort::systemError(const char* step, int number) const
{
    const ErrorKind kind = meansLineLost(number) ? ErrorKind::LineLost : ErrorKind::Failure;
    return {m_path, step, number, "", remedyFor(number, m_path), kind};
}

Error SerialPort::timedOut(const char* step, ErrorKind kind) const
{
    return {m_path, step, ETIMEDOUT, "", "", kind};
}

Error SerialPort::hungUp(const char* step) const
{
    return systemError(step, EIO);
}

void SerialPort::trace(const char* direction, const uint8_t* bytes, size_t size) const
{
    if (!isLoggerEnabled(kWire, kCategory)) return;
    std::string hex;
    for (size_t i = 0; i < size; ++i) {
        static const char digits[] = "0123456789abcdef";
        hex += {' ', digits[bytes[i] >> 4], digits[bytes[i] & 0x0F]};
    }
    QUILL_LOG(kWire, kCategory) << m_path << " " << direction << hex;
}

}  // namespace quill
