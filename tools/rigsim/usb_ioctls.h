#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>

#include "tools/rigsim/rig.h"
#include "tools/rigsim/umockdev_client.h"

namespace rigsim
{

/// The USB node of a line's adapter as libusb uses it: control transfers go to the adapter, what is
/// asked of the system is booked there. Bulk transfers are refused with EINVAL: the serial data
/// goes over the tty. In use by the testbed's own thread until the testbed has ended.
class UsbIoctls
{
  public:
    /// @param device  of the line
    UsbIoctls(Rig* rig, const std::string& device);
    UsbIoctls(const UsbIoctls&) = delete;
    UsbIoctls& operator=(const UsbIoctls&) = delete;

    UMockdevIoctlBase* handler() const { return m_handler.get(); }

  private:
    static gboolean handle(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer self);
    static void forget(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer self);

    // Each @return the result, -errno for a failure; nothing when the program has gone
    std::optional<int> answer(UMockdevIoctlClient* client);
    std::optional<int> submit(UMockdevIoctlClient* client);
    std::optional<int> reap(UMockdevIoctlClient* client);
    std::optional<int> tellCapabilities(UMockdevIoctlClient* client) const;
    std::optional<int> tellDriver(UMockdevIoctlClient* client) const;
    std::optional<int> callDriver(UMockdevIoctlClient* client);

    Rig* m_rig;
    std::string m_device;
    // Where in a program's memory its finished transfers are, by the node it has open.
    std::map<UMockdevIoctlClient*, std::deque<gulong>> m_finished;
    GObjectPtr<UMockdevIoctlBase> m_handler;
};

}  // namespace rigsim
