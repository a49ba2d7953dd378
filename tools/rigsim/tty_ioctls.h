#pragma once

#include <string>

#include "tools/rigsim/umockdev_client.h"

namespace rigsim
{

/// What an adapter's serial driver adds to the pseudo terminal behind it. In use by the testbed's
/// own thread until the testbed has ended.
class TtyIoctls
{
  public:
    /// @param serialPortPath  of the device in the testbed's /sys that has the latency timer
    TtyIoctls(UMockdevTestbed* testbed, const std::string& serialPortPath);
    TtyIoctls(const TtyIoctls&) = delete;
    TtyIoctls& operator=(const TtyIoctls&) = delete;

    UMockdevIoctlBase* handler() const { return m_handler.get(); }

  private:
    static gboolean handle(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer self);
    bool exchangeSerialStruct(UMockdevIoctlClient* client, bool set);

    UMockdevTestbed* m_testbed;
    std::string m_serialPortPath;
    int m_flags = 0;  // of the driver's serial_struct
    GObjectPtr<UMockdevIoctlBase> m_handler;
};

}  // namespace rigsim
