#include "tools/rigsim/usb_ioctls.h"

#include <linux/usbdevice_fs.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>

namespace rigsim
{
namespace
{

constexpr int kSetupBytes = 8;
constexpr uint8_t kFromDevice = 0x80;
constexpr const char* kDriver = "ftdi_sio";

UsbSetup parseSetup(const guint8* bytes)
{
    const auto word = [&](int at) { return static_cast<uint16_t>(bytes[at] | bytes[at + 1] << 8); };
    return {bytes[0], bytes[1], word(2), word(4), word(6)};
}

}  // namespace

UsbIoctls::UsbIoctls(Rig* rig, const std::string& device)
    : m_rig(rig), m_device(device), m_handler(umockdev_ioctl_base_new())
{
    g_signal_connect(m_handler.get(), "handle-ioctl", G_CALLBACK(handle), this);
    g_signal_connect(m_handler.get(), "client-vanished", G_CALLBACK(forget), this);
}

gboolean UsbIoctls::handle(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer self)
{
    const auto result = static_cast<UsbIoctls*>(self)->answer(client);
    if (result)
        umockdev_ioctl_client_complete(client, *result < 0 ? -1 : *result, std::max(-*result, 0));
    return TRUE;
}

void UsbIoctls::forget(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer self)
{
    static_cast<UsbIoctls*>(self)->m_finished.erase(client);
}

std::optional<int> UsbIoctls::answer(UMockdevIoctlClient* client)
{
    switch (umockdev_ioctl_client_get_request(client)) {
        case USBDEVFS_GET_CAPABILITIES: return tellCapabilities(client);
        case USBDEVFS_SUBMITURB: return submit(client);
        case USBDEVFS_REAPURB:
        case USBDEVFS_REAPURBNDELAY: return reap(client);
        case USBDEVFS_DISCARDURB: return -EINVAL;  // every transfer is finished at once
        case USBDEVFS_GETDRIVER: return tellDriver(client);
        case USBDEVFS_IOCTL: return callDriver(client);
        case USBDEVFS_DISCONNECT_CLAIM:
            (void)m_rig->act(m_device, UsbAction::DetachDriver);  // there may be none
            return -m_rig->act(m_device, UsbAction::Claim);
        case USBDEVFS_CLAIMINTERFACE: return -m_rig->act(m_device, UsbAction::Claim);
        case USBDEVFS_RELEASEINTERFACE: return -m_rig->act(m_device, UsbAction::Release);
        case USBDEVFS_SETCONFIGURATION:
        case USBDEVFS_SETINTERFACE: return -m_rig->act(m_device, UsbAction::Configure);
        case USBDEVFS_RESET: return -m_rig->act(m_device, UsbAction::Reset);
        default: return -ENOTTY;
    }
}

// The program looks at a transfer's outcome when it has got it back, so it may be there before.
std::optional<int> UsbIoctls::submit(UMockdevIoctlClient* client)
{
    const auto urbMemory = resolveArgument(client, sizeof(usbdevfs_urb));
    if (!urbMemory) return std::nullopt;
    const auto urb = get<usbdevfs_urb>(*urbMemory);
    if (urb.type != USBDEVFS_URB_TYPE_CONTROL || urb.buffer_length < kSetupBytes) return -EINVAL;
    const auto buffer = resolve(urbMemory.get(), offsetof(usbdevfs_urb, buffer),
                                static_cast<size_t>(urb.buffer_length));
    if (!buffer) return std::nullopt;
    const UsbSetup setup = parseSetup(buffer->data);
    if (urb.buffer_length < kSetupBytes + setup.length) return -EINVAL;

    UsbReply reply = m_rig->transfer(m_device, setup);
    if (reply.error != 0 && reply.error != EPIPE) return -reply.error;
    const bool isIn = (setup.requestType & kFromDevice) != 0;
    if (!reply.data.empty())
        umockdev_ioctl_data_update(buffer.get(), kSetupBytes, reply.data.data(),
                                   static_cast<gint>(reply.data.size()));
    const auto length = isIn ? reply.data.size() : reply.error == 0 ? setup.length : size_t{0};
    put(urbMemory.get(), -reply.error, offsetof(usbdevfs_urb, status));
    put(urbMemory.get(), static_cast<int>(length), offsetof(usbdevfs_urb, actual_length));
    m_finished[client].push_back(urbMemory->client_addr);
    return 0;
}

std::optional<int> UsbIoctls::reap(UMockdevIoctlClient* client)
{
    auto& finished = m_finished[client];
    if (finished.empty()) return m_rig->adapterState(m_device).isPlugged ? -EAGAIN : -ENODEV;
    const auto pointer = resolveArgument(client, sizeof(void*));
    if (!pointer) return std::nullopt;
    put(pointer.get(), finished.front());
    finished.pop_front();
    return 0;
}

std::optional<int> UsbIoctls::tellCapabilities(UMockdevIoctlClient* client) const
{
    const auto memory = resolveArgument(client, sizeof(uint32_t));
    if (!memory) return std::nullopt;
    put(memory.get(), uint32_t{USBDEVFS_CAP_ZERO_PACKET | USBDEVFS_CAP_NO_PACKET_SIZE_LIM});
    return 0;
}

std::optional<int> UsbIoctls::tellDriver(UMockdevIoctlClient* client) const
{
    if (!m_rig->adapterState(m_device).hasDriver) return -ENODATA;
    const auto memory = resolveArgument(client, sizeof(usbdevfs_getdriver));
    if (!memory) return std::nullopt;
    auto answer = get<usbdevfs_getdriver>(*memory);
    std::strncpy(answer.driver, kDriver, sizeof answer.driver - 1);
    put(memory.get(), answer);
    return 0;
}

// Orders for the driver of the interface travel in a structure of their own.
std::optional<int> UsbIoctls::callDriver(UMockdevIoctlClient* client)
{
    const auto memory = resolveArgument(client, sizeof(usbdevfs_ioctl));
    if (!memory) return std::nullopt;
    switch (static_cast<unsigned>(get<usbdevfs_ioctl>(*memory).ioctl_code)) {
        case USBDEVFS_DISCONNECT: return -m_rig->act(m_device, UsbAction::DetachDriver);
        case USBDEVFS_CONNECT: {
            const int error = m_rig->act(m_device, UsbAction::AttachDriver);
            return error == 0 ? 1 : -error;  // one driver has taken it
        }
        default: return -ENOTTY;
    }
}

}  // namespace rigsim
