#include "tools/rigsim/tty_ioctls.h"

#include <asm/ioctls.h>
#include <linux/serial.h>

namespace rigsim
{

TtyIoctls::TtyIoctls(UMockdevTestbed* testbed, const std::string& serialPortPath)
    : m_testbed(testbed), m_serialPortPath(serialPortPath), m_handler(umockdev_ioctl_base_new())
{
    g_signal_connect(m_handler.get(), "handle-ioctl", G_CALLBACK(handle), this);
}

// The library answers ENOTTY to what it does not know; a real pty knows termios2 and the rest. But
// it would keep TIOCEXCL beyond the program that asked for it, since we hold it open.
gboolean TtyIoctls::handle(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer self)
{
    const gulong request = umockdev_ioctl_client_get_request(client);
    int result = 0;
    int number = 0;
    if (request == TIOCGSERIAL || request == TIOCSSERIAL) {
        auto* const ioctls = static_cast<TtyIoctls*>(self);
        if (!ioctls->exchangeSerialStruct(client, request == TIOCSSERIAL)) return TRUE;
    } else if (request != TIOCEXCL) {
        GError* error = nullptr;
        result = umockdev_ioctl_client_execute(client, &number, &error);
        if (error) {  // the program has gone
            g_clear_error(&error);
            return TRUE;
        }
    }
    umockdev_ioctl_client_complete(client, result, number);
    return TRUE;
}

// The driver's own ioctl, which a pty does not know: low latency is 1 ms, otherwise 16 ms.
// @return false when the program has gone
bool TtyIoctls::exchangeSerialStruct(UMockdevIoctlClient* client, bool set)
{
    const auto data = resolveArgument(client, sizeof(serial_struct));
    if (!data) return false;
    if (set) {
        m_flags = get<serial_struct>(*data).flags;
        umockdev_testbed_set_attribute(m_testbed, m_serialPortPath.c_str(), "latency_timer",
                                       (m_flags & ASYNC_LOW_LATENCY) != 0 ? "1\n" : "16\n");
        return true;
    }
    serial_struct serial{};
    serial.flags = m_flags;
    put(data.get(), serial);
    return true;
}

}  // namespace rigsim
